#pragma once

#include "trust/Operations.h"

#include <gtest/gtest.h>

#include <cctype>

namespace trust {

/// The name of an operation's test: letters, digits and underscores, and its index.
inline std::string testNameOf(const testing::TestParamInfo<Operation>& info)
{
    std::string name;
    for (const char c : info.param.name)
        name += std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
    return name + "_" + std::to_string(info.index);
}

} // namespace trust
