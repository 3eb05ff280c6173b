#pragma once

#include "arvo/platform/Export.h"

#include <memory>

/// The singular value decomposition A = U W V^T of a tall matrix; U is not formed.
///
/// `a` points to the matrix, rows x columns doubles, row after row. It starts out at an own, zeroed matrix, whose pages
/// cost nothing until they are written; a caller with a matrix of his own may point `a` to it for the decomposition.
/// The destructor never follows `a`.
class ARVO_PLATFORM_EXPORT SingularValueDecomp {
public:
    /// `reserved` is kept for hosts that pass it and has no effect. Negative sizes count as 0. Without
    /// memory: std::bad_alloc, or no matrix.
    SingularValueDecomp(int rows, int columns, int reserved);
    ~SingularValueDecomp();
    SingularValueDecomp(const SingularValueDecomp&) = delete;
    SingularValueDecomp& operator=(const SingularValueDecomp&) = delete;

    /// Decomposes the matrix at `a`, which is only read.
    ///
    /// Afterwards w holds the `columns` singular values, largest first, v the columns x columns matrix V row after
    /// row (column k belongs to w[k]; its sign is not fixed), and success is 1. NaN or infinite elements, or no
    /// matrix: success is 0 and w and v are zero.
    ///
    /// Blocks of rows are folded into one small triangular factor by Householder QR, whose decomposition has the same
    /// W and V: one pass over the matrix, O(rows columns^2) time, memory for one block besides the matrix.
    /// After T. F. Chan, "An improved algorithm for computing the singular value decomposition", ACM Transactions on
    /// Mathematical Software 8 (1982).
    void svdcmp();

    double* a;       ///< rows x columns, row-major; null when the own matrix could not be had
    double* w;       ///< columns singular values
    double* v;       ///< columns x columns, row-major
    int success = 0; ///< 1 when the last decomposition succeeded

private:
    struct Storage;
    std::unique_ptr<Storage> m_storage;
    int m_rows;
    int m_columns;
};
