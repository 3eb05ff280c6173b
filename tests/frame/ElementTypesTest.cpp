#include "arvo/platform/image/ElementTypes.h"

#include "support/Warnings.h"

#include <gtest/gtest.h>

namespace {

TEST(WithElementType, CallsOnlyForTheAcceptedTypes)
{
    using Set = image::TypeSet<image::Int16, image::Binary>;
    const Warnings warnings;
    for (int type = -1; type <= 7; ++type) {
        int calls = 0;
        const bool isAccepted = type == image::Int16 || type == image::Binary;
        const bool result = image::withElementType(static_cast<image::DataType>(type), Set{},
                                                   "Test : no 5 % \"type\".", [&](auto element) {
                                                       using T = typename decltype(element)::type;
                                                       EXPECT_EQ(sizeof(T), type == image::Int16 ? 2u : 1u);
                                                       ++calls;
                                                   });
        EXPECT_EQ(result, isAccepted) << type;
        EXPECT_EQ(calls, isAccepted ? 1 : 0) << type;
        EXPECT_EQ(image::isOneOf(static_cast<image::DataType>(type), Set{}), isAccepted);
    }
    EXPECT_EQ(warnings.texts(), std::vector<std::string>(7, "Test : no 5 % \"type\"."));
    EXPECT_FALSE(image::withElementType(image::Int16, Set{}, "none", [](auto) { return false; }));
    EXPECT_EQ(warnings.texts().size(), 7u);
}

} // namespace
