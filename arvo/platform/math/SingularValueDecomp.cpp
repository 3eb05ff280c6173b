#include "arvo/platform/math/SingularValueDecomp.h"

#include "arvo/platform/utility/VectorClones.h"

#include <Eigen/Dense>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <vector>

namespace {

struct Free {
    void operator()(double* memory) const { std::free(memory); }
};

constexpr Eigen::Index BLOCK_ROWS = 1024;

/// A block of rows of a matrix of three columns, column after column, and the triangle above it: one step of the QR
/// decomposition. Only the diagonal element of a triangle's column and the block meet in a reflection, since the
/// rest of the triangle's column is zero below the diagonal.
///
/// Sums run in eight fixed lanes, so that their bits do not depend on the width of the machine's vectors.
struct ThreeColumns {
    typedef double Lanes __attribute__((vector_size(32)));
    static constexpr Eigen::Index LANES = 4;

    Lanes column[3][BLOCK_ROWS / LANES];

    /// Takes `count` rows over, filled up with zeros to pairs of vectors; returns the number of vectors.
    ARVO_KERNEL Eigen::Index take(const double* rows, Eigen::Index count)
    {
        const Eigen::Index padded = (count + 2 * LANES - 1) / (2 * LANES) * (2 * LANES);
        for (int k = 0; k < 3; ++k) {
            auto* values = reinterpret_cast<double*>(column[k]);
            for (Eigen::Index i = 0; i < count; ++i)
                values[i] = rows[3 * i + k];
            std::fill(values + count, values + padded, 0.0);
        }
        return padded / LANES;
    }

    ARVO_KERNEL double dot(int a, int b, Eigen::Index vectors) const
    {
        Lanes even = {};
        Lanes odd = {};
        for (Eigen::Index i = 0; i < vectors; i += 2) {
            even += column[a][i] * column[b][i];
            odd += column[a][i + 1] * column[b][i + 1];
        }
        even += odd;
        return (even[0] + even[2]) + (even[1] + even[3]);
    }

    /// Reflects the block onto the triangle (row after row), one column after the other.
    ARVO_KERNEL void foldInto(double (&triangle)[3][3], Eigen::Index vectors)
    {
        for (int k = 0; k < 3; ++k) {
            const double below = dot(k, k, vectors);
            if (below == 0.0)
                continue;
            const double diagonal = triangle[k][k];
            const double reflected = -std::copysign(std::sqrt(diagonal * diagonal + below), diagonal);
            const double head = diagonal - reflected; // the mirror's normal is (head, column k)
            for (int j = k + 1; j < 3; ++j) {
                const double along = (head * triangle[k][j] + dot(k, j, vectors)) / (reflected * head);
                triangle[k][j] += along * head;
                for (Eigen::Index i = 0; i < vectors; ++i)
                    column[j][i] += along * column[k][i];
            }
            triangle[k][k] = reflected;
        }
    }
};

ARVO_VECTOR_CLONES void foldBlock(ThreeColumns& block, const double* rows, Eigen::Index count,
                                  double (&triangle)[3][3])
{
    block.foldInto(triangle, block.take(rows, count));
}

Eigen::MatrixXd triangularFactorOfThreeColumns(const double* matrix, Eigen::Index rows)
{
    double triangle[3][3] = {};
    ThreeColumns block;
    for (Eigen::Index begin = 0; begin < rows; begin += BLOCK_ROWS)
        foldBlock(block, matrix + begin * 3, std::min(BLOCK_ROWS, rows - begin), triangle);
    return Eigen::Map<const Eigen::Matrix<double, 3, 3, Eigen::RowMajor>>(&triangle[0][0]);
}

/// The triangular factor of the QR decomposition of a rows x columns matrix, row blocks folded in one by one.
Eigen::MatrixXd triangularFactor(const double* matrix, Eigen::Index rows, Eigen::Index columns)
{
    using RowMajor = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;

    Eigen::MatrixXd factor = Eigen::MatrixXd::Zero(columns, columns);
    Eigen::MatrixXd stacked(columns + std::min(BLOCK_ROWS, rows), columns);
    Eigen::HouseholderQR<Eigen::MatrixXd> qr;
    for (Eigen::Index begin = 0; begin < rows; begin += BLOCK_ROWS) {
        const Eigen::Index count = std::min(BLOCK_ROWS, rows - begin);
        stacked.resize(columns + count, columns);
        stacked.topRows(columns) = factor;
        stacked.bottomRows(count) = Eigen::Map<const RowMajor>(matrix + begin * columns, count, columns);
        qr.compute(stacked);
        factor = qr.matrixQR().topRows(columns).triangularView<Eigen::Upper>();
    }
    return factor;
}

} // namespace

struct SingularValueDecomp::Storage {
    std::unique_ptr<double, Free> matrix;
    std::vector<double> w;
    std::vector<double> v;
};

SingularValueDecomp::SingularValueDecomp(int rows, int columns, int /*reserved*/)
    : m_storage(std::make_unique<Storage>()),
      m_rows(std::max(rows, 0)),
      m_columns(std::max(columns, 0))
{
    const auto rowCount = static_cast<std::size_t>(m_rows);
    const auto columnCount = static_cast<std::size_t>(m_columns);
    m_storage->matrix.reset(static_cast<double*>(std::calloc(rowCount * columnCount + 1, sizeof(double))));
    m_storage->w.resize(columnCount);
    m_storage->v.resize(columnCount * columnCount);
    a = m_storage->matrix.get();
    w = m_storage->w.data();
    v = m_storage->v.data();
}

SingularValueDecomp::~SingularValueDecomp() = default;

void SingularValueDecomp::svdcmp()
{
    success = 0;
    std::ranges::fill(m_storage->w, 0.0);
    std::ranges::fill(m_storage->v, 0.0);
    if (!a || m_rows == 0 || m_columns == 0)
        return;

    const Eigen::MatrixXd factor =
        m_columns == 3 ? triangularFactorOfThreeColumns(a, m_rows) : triangularFactor(a, m_rows, m_columns);
    if (!factor.allFinite())
        return;
    const Eigen::JacobiSVD<Eigen::MatrixXd> svd(factor, Eigen::ComputeFullV);
    if (svd.info() != Eigen::Success)
        return;
    Eigen::Map<Eigen::VectorXd>(w, m_columns) = svd.singularValues();
    Eigen::Map<Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>>(
        v, m_columns, m_columns) = svd.matrixV();
    success = 1;
}
