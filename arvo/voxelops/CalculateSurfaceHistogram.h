#pragma once

#include "arvo/frame/Export.h"
#include "arvo/platform/threading/Calculation.h"

#include <QMap>
#include <QString>
#include <QVariant>

#include <optional>

class ArvoImage3D;
class Histogram;

/// Samples a volume along the normals of a surface and counts the sampled values.
///
/// At each point, n samples at the offsets -(n/2) ... n - n/2 - 1 (integer division: an even number takes one more sample
/// against the normal) times step size times normal. A sample is the interpolated value, truncated toward zero.
///
/// Points and normals are three floats each in world units; the step size is in world units per unit of normal length.
/// Volume, points, normals and a set information map stay owned by the caller. Success unless cancelled (the flag is
/// looked at before each sample; the samples so far stay in the histogram). A missing image, or points to sample without
/// arrays: one warning, failure, the histogram of the run before. Runs on the calling thread.
class ARVO_VOLUME_EXPORT CalculateSurfaceHistogram : public Calculation {
public:
    CalculateSurfaceHistogram();
    /// Copies the settings; result and own information map stay with the original.
    /// @{
    CalculateSurfaceHistogram(const CalculateSurfaceHistogram& other);
    CalculateSurfaceHistogram& operator=(const CalculateSurfaceHistogram& other);
    /// @}
    ~CalculateSurfaceHistogram() override;

    /// The volume to sample; not owned.
    void setImage(ArvoImage3D* image) { m_image = image; }
    /// `count` points and as many normals, three floats each, in world units; not owned.
    void setSurface(float* points, float* normals, int count);
    /// Samples a point.
    void setNumberOfSteps(int steps) { m_numberOfSteps = steps; }
    /// World units per unit of normal length between two samples.
    void setStepSize(float stepSize) { m_stepSize = stepSize; }

    /// Keeps a map for the caller, who goes on owning it; the calculation's own first map is deleted. Not used otherwise.
    void setInformationMap(QMap<QString, QVariant>* map);

    void execute(const std::atomic<bool>& cancel) override;

    /// The histogram made by the last `execute`, null before the first. The caller takes and deletes it: it is neither
    /// deleted nor reused by the next run or the destructor.
    Histogram* getHistogram() const { return m_histogram; }

private:
    bool checkInput() const;
    void samplePoint(int point, const std::atomic<bool>& cancel);

    ArvoImage3D* m_image = nullptr;
    Histogram* m_histogram = nullptr;
    float* m_points = nullptr;
    float* m_normals = nullptr;
    int m_pointCount = 0;
    int m_numberOfSteps = 0;
    float m_stepSize = 0.0f;
    QMap<QString, QVariant>* m_informationMap = nullptr;
    std::optional<QMap<QString, QVariant>> m_ownInformationMap; // set while the map is the calculation's own
};
