#pragma once

/// Where the four in-plane neighbours of one voxel lie in its slice, clamped at the slice's border, and the weight of
/// the difference along each axis.
///
/// An axis weighs 0.5 (a difference over two voxels) and 1.0 on its first and last voxel, where the difference is
/// one-sided. In a slice one voxel wide both neighbours are the voxel itself: weight 1.0, difference 0.
struct ClampedCrossIndex {
    int x;         ///< column of the voxel
    int y;         ///< row of the voxel
    int center;    ///< index of the voxel in its slice, y * width + x
    int xPlus;     ///< index of the neighbour in the next column
    int xMinus;    ///< index of the neighbour in the previous column
    int yPlus;     ///< index of the neighbour in the next row
    int yMinus;    ///< index of the neighbour in the previous row
    float factorX; ///< weight of the difference along x
    float factorY; ///< weight of the difference along y
    float factorZ; ///< weight of the difference along z, as given

    /// The voxel (column, row) of a slice of width x height voxels.
    ClampedCrossIndex(int column, int row, int width, int height, float weightZ)
        : x(column),
          y(row),
          center(row * width + column),
          xPlus(column >= width - 1 ? center : center + 1),
          xMinus(column < 1 ? center : center - 1),
          yPlus(row >= height - 1 ? center : center + width),
          yMinus(row < 1 ? center : center - width),
          factorX(column >= width - 1 || column < 1 ? 1.0f : 0.5f),
          factorY(row >= height - 1 || row < 1 ? 1.0f : 0.5f),
          factorZ(weightZ)
    {
    }
};
