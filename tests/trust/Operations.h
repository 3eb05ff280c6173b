#pragma once

#include "trust/FixedInputs.h"
#include "trust/Hash.h"

#include <QMatrix4x4>

#include <atomic>
#include <concepts>
#include <functional>
#include <map>
#include <ostream>
#include <span>
#include <string>
#include <vector>

/// The exported operations as a table, one entry each, for the tests that do the same to every operation: hash its
/// result on fixed inputs, call it with hostile ones, let its allocations fail, feed it to the fuzzer.
namespace trust {

/// Where a call's numbers come from. An operation asks for each with a sound value, the one whose result is hashed; it gets
/// that, a hostile one or one from a fuzzer's input.
class Numbers {
public:
    virtual ~Numbers() = default;
    /// An index, radius, factor, threshold, count or enumeration.
    virtual int whole(int sound) = 0;
    virtual float real(float sound) = 0;
    /// A table or a matrix: some of its elements are replaced.
    virtual void reals(std::span<float> sound) = 0;
};

/// The sound values.
class SoundNumbers : public Numbers {
public:
    int whole(int sound) override { return sound; }
    float real(float sound) override { return sound; }
    void reals(std::span<float>) override {}
};

/// What an operation is handed, and what it finds.
struct Call {
    ArvoImage3D* a; ///< the input
    ArvoImage3D* b; ///< the second input, the mask or the output
    Numbers& numbers;
    const std::atomic<bool>& cancel;
    int way = 0; ///< of Operation::ways
    std::map<std::string, Hash> results = {};

    int whole(int sound) { return numbers.whole(sound); }
    float real(float sound) { return numbers.real(sound); }
    bool flag(bool sound) { return numbers.whole(sound) > 0; }
    /// Null for numbers that are far too large.
    template <class T> T* orNull(T* sound) { return numbers.whole(0) > 1000 ? nullptr : sound; }
    QVector3D vector(const QVector3D& sound);
    QMatrix4x4 matrix(const QMatrix4x4& sound);

    /// The slices of the first volume; 0 without one.
    int slices() const { return a ? a->imageSize().z : 0; }
    /// Slices that leave out so many at either end. Never an empty range, which would be done without volumes.
    std::pair<int, int> sliceRange(int margin = 0);
    /// What was found besides changed volumes. Without a name it goes by the operation's.
    Hash& result(const std::string& name = {}) { return results[name]; }
};

enum Traits : unsigned {
    READS_ONE = 0,
    TAKES_TWO = 1, ///< looks at the second volume, too
    CHANGES_A = 2,
    CHANGES_B = 4,
    CREATES = 8,       ///< makes the changed volume anew, so that it need not be valid
    SILENT = 16,       ///< documented to refuse a missing or invalid volume without a warning
    ANSWERS = 32,      ///< returns true only when it was done
    LEAVES_ROWS = 64,  ///< documented to leave rows of the output written when there is no memory
    WARNS_TWICE = 128, ///< a bad call may log two different texts instead of one
    THROWS = 256       ///< documented to throw std::bad_alloc
};

/// The volumes that an operation's result is hashed on, of each type and each of the fixed sizes.
struct Hashed {
    std::span<const image::DataType> types;
    MakeVolume a = fixedInput;
    MakeVolume b = nullptr;
};

struct Operation {
    /// Results that differ only behind a comma have to be the same: that tells two ways to the same result apart.
    std::string name;
    unsigned traits;
    Hashed hashed;
    std::function<bool(Call&)> run;
    /// How many ways Call::way chooses among. All have the same result.
    int ways;

    bool has(unsigned trait) const { return (traits & trait) == trait; }
};

/// How a failing test names the operation.
inline void PrintTo(const Operation& operation, std::ostream* out)
{
    *out << operation.name;
}

class Operations {
public:
    /// `run` takes a Call& and returns whether the operation was done, or nothing.
    template <class Run>
    void add(const std::string& name, unsigned traits, const Hashed& hashed, Run run, int ways = 1)
    {
        m_list.push_back({name, traits, hashed, {}, ways});
        if constexpr (std::same_as<std::invoke_result_t<Run, Call&>, void>)
            m_list.back().run = [run](Call& c) { return run(c), false; };
        else
            m_list.back().run = std::move(run);
    }
    /// An operation whose result is hashed elsewhere, or which has none.
    template <class Run> void add(const std::string& name, unsigned traits, Run run)
    {
        add(name, traits, Hashed{}, std::move(run));
    }
    const std::vector<Operation>& list() const { return m_list; }

private:
    std::vector<Operation> m_list;
};

/// The operations of one folder of the library, those of the volume itself last.
/// @{
void addVoxelOperations(Operations& table);
void addDifferentialOperations(Operations& table);
void addBinaryOperations(Operations& table);
void addFilterOperations(Operations& table);
void addResliceOperations(Operations& table);
void addGeometryOperations(Operations& table);
void addPlatformOperations(Operations& table);
/// @}
const std::vector<Operation>& allOperations();

/// Whether the volumes are there, for operations that take references; refuses the call with a warning if not.
bool isGiven(const Call& call, bool takesTwo);

/// Executes a calculation.
template <class Calculation> bool executed(Calculation& calculation, const Call& call)
{
    calculation.execute(call.cancel);
    return calculation.isSuccess();
}

/// Adds a new volume to the result and deletes it; tells whether there was one.
bool taken(ArvoImage3D* volume, Hash& result);

/// Runs the template of the first volume's element type, that of bytes where there is none.
template <class Body> bool withElement(const Call& call, Body&& body)
{
    const bool isVoxelType = image::isOneOf(call.a->dataType(), image::VoxelTypes{});
    return image::withElementType(isVoxelType ? call.a->dataType() : image::UInt8, image::VoxelTypes{},
                                  nullptr, [&](auto element) { return body(element); });
}

} // namespace trust
