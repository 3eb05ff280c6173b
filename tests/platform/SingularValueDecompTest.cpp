#include "arvo/platform/math/SingularValueDecomp.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

namespace {

/// A^T A must equal V W^2 V^T, V must be orthogonal and W descending: together these pin W and V down to signs.
void expectDecomposes(const std::vector<double>& matrix, int rows, int columns)
{
    SingularValueDecomp svd(rows, columns, 0);
    double* const own = svd.a;
    svd.a = const_cast<double*>(matrix.data());
    svd.svdcmp();
    svd.a = own;
    ASSERT_EQ(svd.success, 1);

    const auto n = static_cast<std::size_t>(columns);
    double scale = 0;
    for (const double value : matrix)
        scale += value * value;
    for (std::size_t i = 0; i < n; ++i) {
        EXPECT_GE(svd.w[i], 0.0);
        EXPECT_LE(svd.w[i], svd.w[i > 0 ? i - 1 : 0]);
        for (std::size_t j = 0; j < n; ++j) {
            double gram = 0, rebuilt = 0, dot = 0;
            for (std::size_t r = 0; r < static_cast<std::size_t>(rows); ++r)
                gram += matrix[r * n + i] * matrix[r * n + j];
            for (std::size_t k = 0; k < n; ++k) {
                rebuilt += svd.v[i * n + k] * svd.w[k] * svd.w[k] * svd.v[j * n + k];
                dot += svd.v[k * n + i] * svd.v[k * n + j];
            }
            EXPECT_NEAR(rebuilt, gram, 1e-12 * scale);
            EXPECT_NEAR(dot, i == j ? 1.0 : 0.0, 1e-12);
        }
    }
}

TEST(SingularValueDecomp, DecomposesTallAndWideMatrices)
{
    std::mt19937 random(3);
    std::normal_distribution<double> normal;
    for (const auto& [rows, columns] :
         {std::pair{1, 3}, {2, 3}, {3, 3}, {1023, 3}, {1025, 3}, {5000, 3}, {40, 5}, {2, 4}}) {
        std::vector<double> matrix(static_cast<std::size_t>(rows * columns));
        for (std::size_t i = 0; i < matrix.size(); ++i)
            matrix[i] = normal(random) * (i % 3 == 1 ? 100.0 : 1.0);
        expectDecomposes(matrix, rows, columns);
    }
}

TEST(SingularValueDecomp, FindsZeroSingularValues)
{
    SingularValueDecomp svd(4, 3, 0); // the own matrix, filled in place: four multiples of (1, 2, 2)
    for (int r = 0; r < 4; ++r) {
        svd.a[r * 3] = r;
        svd.a[r * 3 + 1] = svd.a[r * 3 + 2] = 2.0 * r;
    }
    svd.svdcmp();
    ASSERT_EQ(svd.success, 1);
    EXPECT_NEAR(svd.w[0], 3.0 * std::sqrt(14.0), 1e-12);
    EXPECT_LT(svd.w[1], 1e-12);
    EXPECT_NEAR(std::abs(svd.v[0]), 1.0 / 3.0, 1e-12);
}

TEST(SingularValueDecomp, FailsOnNumbersThatAreNone)
{
    SingularValueDecomp svd(4, 3, 0);
    svd.a[7] = NAN;
    svd.svdcmp();
    EXPECT_EQ(svd.success, 0);
    SingularValueDecomp empty(0, 3, 0);
    empty.svdcmp();
    EXPECT_EQ(empty.success, 0);
}

} // namespace
