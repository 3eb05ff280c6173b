#include "arvo/platform/math/SingularValueDecomp.h"

#include <Eigen/Dense>

#include <algorithm>
#include <cstdlib>
#include <vector>

namespace {

struct Free {
    void operator()(double* memory) const { std::free(memory); }
};

constexpr Eigen::Index BLOCK_ROWS = 1024;

/// The triangular factor of the QR decomposition of a rows x columns matrix, row blocks folded in one by one.
template <int Columns>
Eigen::MatrixXd triangularFactor(const double* matrix, Eigen::Index rows, Eigen::Index columns)
{
    using Matrix = Eigen::Matrix<double, Eigen::Dynamic, Columns>;
    using RowMajor = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;

    Eigen::MatrixXd factor = Eigen::MatrixXd::Zero(columns, columns);
    Matrix stacked(columns + std::min(BLOCK_ROWS, rows), columns);
    Eigen::HouseholderQR<Matrix> qr;
    for (Eigen::Index begin = 0; begin < rows; begin += BLOCK_ROWS) {
        const Eigen::Index count = std::min(BLOCK_ROWS, rows - begin);
        stacked.resize(columns + count, columns);
        stacked.topRows(columns) = factor;
        stacked.bottomRows(count) = Eigen::Map<const RowMajor>(matrix + begin * columns, count, columns);
        qr.compute(stacked);
        factor = qr.matrixQR().topRows(columns).template triangularView<Eigen::Upper>();
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

    const Eigen::MatrixXd factor = m_columns == 3 ? triangularFactor<3>(a, m_rows, m_columns)
                                                  : triangularFactor<Eigen::Dynamic>(a, m_rows, m_columns);
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
