#pragma once

/// Choices that operations on volumes share.
struct ArvoImage3DEnums {
    /// Which ray parameter a maximum projection reports as the depth of a pixel; any other value counts as
    /// MIP_COMPARE_MAXIMUM.
    enum MIP_COMPARE_FUNCTION : int {
        MIP_COMPARE_MAXIMUM = 0,     ///< that of the first of the largest samples
        MIP_COMPARE_LOCAL_MAXIMA = 1 ///< the mean over all local peaks along the ray
    };
};
