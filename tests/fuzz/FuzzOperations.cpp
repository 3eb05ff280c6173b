// What every fuzz target does with an input.
//
// An input is a few volumes (types, extents up to 12, voxels) and a list of calls on them: operation, volumes, flag and
// then the numbers that the operation asks for. What one call writes the next one reads. The process ends, with a message, at
// the first call that breaks a promise of trust::brokenPromise() and at one that changes its volumes otherwise, or finds
// something else, on one thread than on several.
#include "fuzz/FuzzOperations.h"

#include "fuzz/Bytes.h"

#include "arvo/platform/image/ArvoImage3D.h"
#include "support/RandomVolume.h"
#include "trust/CallJudge.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <span>

namespace fuzz {

namespace {

constexpr int VOLUMES = 3;
constexpr int NONE = VOLUMES; // the index of a null volume
constexpr int MAX_CALLS = 8;  // more of them find nothing that fewer do not, but take their time
constexpr int MAX_EXTENT = 12;
constexpr std::size_t MAX_REALS = 12; // of a table; the rest of it stays sound

/// The numbers of a call: from the input, each on its own.
class FuzzedNumbers : public trust::Numbers {
public:
    explicit FuzzedNumbers(Bytes& bytes) : m_bytes(bytes) {}

    int whole(int sound) override { return m_bytes.takeBelow(4) == 0 ? sound : m_bytes.takeInt(); }
    float real(float sound) override { return m_bytes.takeBelow(4) == 0 ? sound : m_bytes.takeFloat(); }
    void reals(std::span<float> sound) override
    {
        if (m_bytes.takeBelow(4) == 0)
            return;
        for (float& number : sound.first(std::min(sound.size(), MAX_REALS)))
            number = m_bytes.takeFloat();
    }

private:
    Bytes& m_bytes;
};

using Volumes = std::array<std::unique_ptr<ArvoImage3D>, VOLUMES>;

/// Voxels from the input itself, at most 255 bytes of them, so that there is something left for the calls.
void takeVoxels(ArvoImage3D& image, Bytes& bytes)
{
    const std::size_t size = image.sizeOfAxialSlice() * static_cast<std::size_t>(image.imageSize().z);
    const auto given = static_cast<std::size_t>(bytes.take<std::uint8_t>());
    image.zeroSlices();
    for (std::size_t i = 0; i < std::min(size, given); ++i)
        image.dataPtr()[i] = bytes.take<char>();
    image.editFinished();
}

/// Two times in three as large as `other`, if there is one: most operations refuse volumes of different sizes.
std::unique_ptr<ArvoImage3D> takeVolume(Bytes& bytes, const ArvoImage3D* other)
{
    const auto type = static_cast<image::DataType>(bytes.takeBelow(9) - 1);
    math::Ivec3 size = other ? other->imageSize() : math::Ivec3();
    if (!other || bytes.takeBelow(3) == 0) {
        for (int axis = 0; axis < 3; ++axis)
            size[axis] = bytes.takeBelow(MAX_EXTENT + 1);
    }
    QVector3D spacing(0.5f, 0.75f, 1.25f);
    if (bytes.takeBool())
        spacing = {bytes.takeFloat(), bytes.takeFloat(), bytes.takeFloat()};
    auto image = std::make_unique<ArvoImage3D>(size, spacing, type);
    if (!image->isValid())
        return image;
    using testing_support::Fill;
    static constexpr Fill fills[] = {Fill::Uniform, Fill::Extremes, Fill::FewValues, Fill::Mask};
    const int filling = bytes.takeBelow(8);
    if (filling < 4) {
        const ArvoImage3D random =
            testing_support::randomVolume(size, type, bytes.take<std::uint8_t>(), fills[filling]);
        image->copyIn(&random, std::array{0, 0, 0}.data());
    } else if (filling < 6)
        image->memsetSlices(bytes.take<std::uint8_t>());
    else
        takeVoxels(*image, bytes);
    return image;
}

/// The choice of two volumes, which may be one and the same, or null.
struct Pair {
    int a;
    int b;

    explicit Pair(Bytes& bytes)
    {
        constexpr int PAIRS = VOLUMES * VOLUMES;
        const int choice = bytes.takeBelow(PAIRS + 2);
        a = choice < PAIRS ? choice / VOLUMES : choice == PAIRS ? NONE : 0;
        b = choice < PAIRS ? choice % VOLUMES : choice == PAIRS ? 0 : NONE;
    }
};

ArvoImage3D* at(const Volumes& volumes, int index)
{
    return index != NONE ? volumes[static_cast<std::size_t>(index)].get() : nullptr;
}

Volumes copiesOf(const Volumes& volumes)
{
    Volumes copies;
    for (std::size_t i = 0; i < VOLUMES; ++i) {
        copies[i] = std::make_unique<ArvoImage3D>();
        if (volumes[i]->isValid())
            copies[i]->copyFrom(volumes[i].get());
    }
    return copies;
}

[[noreturn]] void fail(const trust::Operation& operation, const std::string& what)
{
    std::fprintf(stderr, "%s: %s\n", operation.name.c_str(), what.c_str());
    std::abort();
}

/// Makes the call with numbers off `bytes` and returns what it found.
std::map<std::string, trust::Hash> make(const trust::Operation& operation, const Volumes& volumes,
                                        const Pair& pair, const std::atomic<bool>& cancel, int threads,
                                        Bytes& bytes)
{
    FuzzedNumbers numbers(bytes);
    trust::Call call{at(volumes, pair.a), at(volumes, pair.b), numbers, cancel};
    if (const std::string broken = trust::brokenPromise(operation, call, threads); !broken.empty())
        fail(operation, broken);
    return call.results;
}

void makeCalls(Bytes bytes)
{
    const std::vector<trust::Operation>& operations = fuzzedOperations();
    const bool isComparing = bytes.takeBelow(4) == 0; // two runs and real threads: not for every input
    Volumes volumes;
    for (auto& volume : volumes)
        volume = takeVolume(bytes, volumes.front().get());

    for (int step = 0; step < MAX_CALLS && !bytes.isEmpty(); ++step) {
        const trust::Operation& operation = operations[bytes.take<std::uint8_t>() % operations.size()];
        const Pair pair(bytes);
        const std::atomic<bool> cancel(bytes.takeBelow(16) == 1);
        if (!isComparing || cancel) { // how far a cancelled run comes is up to its workers
            make(operation, volumes, pair, cancel, 1, bytes);
            continue;
        }
        const Volumes copies = copiesOf(volumes);
        Bytes again = bytes;
        const auto found = make(operation, volumes, pair, cancel, 0, bytes);
        for (const auto& [name, hash] : make(operation, copies, pair, cancel, 1, again)) {
            if (found.contains(name) && found.at(name) != hash)
                fail(operation, "another result on one thread");
        }
        for (std::size_t k = 0; k < VOLUMES; ++k) {
            if (trust::Snapshot(volumes[k].get()) != trust::Snapshot(copies[k].get()))
                fail(operation, "other voxels on one thread");
        }
    }
}

} // namespace

} // namespace fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    fuzz::makeCalls({data, size});
    return 0;
}
