#pragma once

#include "Report.h"

#include "arvo/platform/image/ArvoImage3D.h"
#include "arvo/platform/threading/ThreadProgress.h"

#include <array>
#include <atomic>
#include <chrono>
#include <memory>
#include <optional>

/// The volumes and numbers that the steps of one report hand on to each other.
struct Study {
    using Volume = std::unique_ptr<ArvoImage3D>;

    Volume ct;       ///< as read
    Volume grey;     ///< integer voxels: the CT itself converted to signed 16-bit if it was float; else empty
    Volume smooth;   ///< grey, smoothed
    Volume cleaned;  ///< grey without specks outside the field of view
    Volume bone;     ///< mask of what is above the bone threshold in `cleaned`
    Volume skull;    ///< its largest part
    Volume closed;   ///< the skull with its holes closed
    Volume boundary; ///< of the skull
    Volume distance; ///< to the skull
    Volume signedDistance; ///< to the skull's boundary, negative inside

    float boneThreshold = 300.0f;
    std::optional<std::array<float, 3>> massCentre; ///< mm
    std::array<std::array<float, 3>, 3> directions{};

    /// The integer volume that most steps work on.
    ArvoImage3D& voxels() { return grey ? *grey : *ct; }
};

/// What a step works with. Operations are timed apart from the pictures made of their results.
struct StepContext {
    Study& study;
    Report& report;
    const std::atomic<bool>& cancel;
    ThreadProgress& progress;
    double milliseconds = 0.0; ///< time in operations of the library
    double voxels = 0.0;       ///< voxels they went over

    /// Runs an operation over a volume and adds its time; returns what it returns.
    template <class Operation> auto timed(const ArvoImage3D& over, Operation&& operation)
    {
        const math::Ivec3 size = over.imageSize();
        voxels += double(size.x) * double(size.y) * double(size.z);
        const auto begin = std::chrono::steady_clock::now();
        struct Stop {
            StepContext& context;
            std::chrono::steady_clock::time_point begin;
            ~Stop()
            {
                context.milliseconds +=
                    std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin)
                        .count();
            }
        } stop{*this, begin};
        return operation();
    }
};
