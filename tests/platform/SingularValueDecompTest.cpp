#include "arvo/platform/math/SingularValueDecomp.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

namespace {

/// A^T A must equal V W^2 V^T, V must be orthogonal and W descending: together these pin W and V down to signs.
void expectDecomposed(const SingularValueDecomp& svd, int rows, int columns)
{
    ASSERT_EQ(svd.success, 1);
    const auto n = static_cast<std::size_t>(columns), m = static_cast<std::size_t>(rows);
    double scale = 0;
    for (std::size_t i = 0; i < m * n; ++i)
        scale += svd.a[i] * svd.a[i];
    for (std::size_t i = 0; i < n; ++i) {
        EXPECT_GE(svd.w[i], 0.0);
        EXPECT_LE(svd.w[i], svd.w[i > 0 ? i - 1 : 0]);
        for (std::size_t j = 0; j < n; ++j) {
            double gram = 0, rebuilt = 0, dot = 0;
            for (std::size_t r = 0; r < m; ++r)
                gram += svd.a[r * n + i] * svd.a[r * n + j];
            for (std::size_t k = 0; k < n; ++k) {
                rebuilt += svd.v[i * n + k] * svd.w[k] * svd.w[k] * svd.v[j * n + k];
                dot += svd.v[k * n + i] * svd.v[k * n + j];
            }
            EXPECT_NEAR(rebuilt, gram, 1e-12 * scale);
            EXPECT_NEAR(dot, i == j ? 1.0 : 0.0, 1e-12);
        }
    }
}

TEST(SingularValueDecomp, DecomposesTallWideAndDependentColumns)
{
    const struct {
        int rows, columns;
        bool areDependent = false; // all columns multiples of the first
    } cases[] = {{1, 3},  {2, 3}, {3, 3},    {1023, 3},    {1025, 3},      {5000, 3},
                 {40, 5}, {2, 4}, {1100, 4}, {4, 3, true}, {2000, 3, true}};
    std::mt19937 random(3);
    std::normal_distribution<double> normal;
    for (const auto& c : cases) {
        const auto columns = static_cast<std::size_t>(c.columns);
        std::vector<double> matrix(static_cast<std::size_t>(c.rows) * columns);
        for (std::size_t i = 0; i < matrix.size(); ++i) {
            if (c.areDependent) // exactly, so that nothing is left of the second
                matrix[i] = (i % columns == 0 ? 1.0 : 2.0) * static_cast<double>(i / columns);
            else
                matrix[i] = normal(random) * (i % 3 == 1 ? 100.0 : 1.0);
        }
        SingularValueDecomp svd(c.rows, c.columns, 0);
        svd.a = matrix.data();
        svd.svdcmp();
        expectDecomposed(svd, c.rows, c.columns);
        EXPECT_EQ(svd.w[1] < 1e-12 * svd.w[0], c.areDependent || c.rows == 1);
    }
}

TEST(SingularValueDecomp, FailsOnNumbersThatAreNoneAndOnNoRows)
{
    SingularValueDecomp svd(4, 3, 0), empty(0, 3, 0);
    svd.a[7] = NAN;
    svd.svdcmp();
    EXPECT_EQ(svd.success, 0);
    empty.svdcmp();
    EXPECT_EQ(empty.success, 0);
}

} // namespace
