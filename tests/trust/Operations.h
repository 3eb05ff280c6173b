#pragma once

#include "arvo/platform/image/ArvoImage3D.h"
#include "arvo/platform/image/ElementTypes.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cctype>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

/// The exported operations as a table, for tests that do the same to each of them.
namespace trust {

/// What an operation is handed. The volumes may be null, invalid or one and the same.
struct Call {
    ArvoImage3D* a; ///< the input
    ArvoImage3D* b; ///< the second input, the mask or the output
    int i;          ///< for every integer parameter: index, radius, factor, threshold, count, enumeration
    float f;        ///< for every real parameter
    const std::atomic<bool>& cancel;
};

enum Changes : int {
    NOTHING = 0,
    FIRST = 1,
    SECOND = 2,
    CREATES = 4 ///< makes the changed volume anew, so that it need not be valid
};

struct Operation {
    std::string name;
    int inputs;     ///< 1: looks at `a` only
    int changes;    ///< which volumes a call that can be done may change
    int warnings;   ///< how many different texts a bad call may log
    bool isSilent;  ///< documented to refuse a missing or invalid volume without a warning
    bool canAnswer; ///< whether the call returns true only when it was done
    std::function<bool(Call&)> run;
};

/// How a failing test names the operation.
inline void PrintTo(const Operation& operation, std::ostream* out)
{
    *out << operation.name;
}

using Operations = std::vector<Operation>;

/// The operations of one folder of the library, those of the volume itself last.
/// @{
void addVoxelOperations(Operations& list);
void addDifferentialOperations(Operations& list);
void addBinaryOperations(Operations& list);
void addFilterOperations(Operations& list);
void addResliceOperations(Operations& list);
void addGeometryOperations(Operations& list);
void addVolumeOperations(Operations& list);
/// @}

inline Operations allOperations()
{
    Operations list;
    for (const auto add :
         {addVoxelOperations, addDifferentialOperations, addBinaryOperations, addFilterOperations,
          addResliceOperations, addGeometryOperations, addVolumeOperations})
        add(list);
    return list;
}

/// The name of an operation's test: letters, digits and underscores, and its index.
inline std::string testNameOf(const testing::TestParamInfo<Operation>& info)
{
    std::string name;
    for (const char c : info.param.name)
        name += std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
    return name + "_" + std::to_string(info.index);
}

/// Runs the template of the first volume's element type, that of bytes where there is none.
template <class Body> bool withElement(Call& call, Body&& body)
{
    const bool isVoxelType = image::isOneOf(call.a->dataType(), image::VoxelTypes{});
    return image::withElementType(isVoxelType ? call.a->dataType() : image::UInt8, image::VoxelTypes{},
                                  nullptr, [&](auto element) { return body(element); });
}

/// Executes a calculation.
template <class Calculation> bool executed(Calculation& calculation, const Call& call)
{
    calculation.execute(call.cancel);
    return calculation.isSuccess();
}

} // namespace trust
