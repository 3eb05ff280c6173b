#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <cctype>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

class ArvoImage3D;

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

void addVoxelOperations(Operations& operations);
void addBinaryOperations(Operations& operations);
void addSpatialOperations(Operations& operations);

inline Operations allOperations()
{
    Operations operations;
    addVoxelOperations(operations);
    addBinaryOperations(operations);
    addSpatialOperations(operations);
    return operations;
}

/// The name of an operation's test: letters, digits and underscores, and its index.
inline std::string testNameOf(const testing::TestParamInfo<Operation>& info)
{
    std::string name;
    for (const char c : info.param.name)
        name += std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
    return name + "_" + std::to_string(info.index);
}

/// Executes a calculation.
template <class Calculation> bool executed(Calculation& calculation, const Call& call)
{
    calculation.execute(call.cancel);
    return calculation.isSuccess();
}

} // namespace trust
