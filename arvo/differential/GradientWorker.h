#pragma once

#include "arvo/frame/Export.h"
#include "arvo/frame/SliceWorker.h"

class ThreadProgress;

/// Computes one component of the gradient in one range of slices; see Gradient.
///
/// An output that is not a float volume of the input's size: "GradientWorker : input and/or output image is not
/// correct.", failure.
class ARVO_VOLUME_EXPORT GradientWorker : public SliceWorker {
    Q_OBJECT

public:
    /// Direction 0, 1 or 2: along x, y or z. With any other the worker does nothing and succeeds.
    GradientWorker(int direction, QObject* parent);

    /// Advanced by one after each slice; not owned, null for none.
    void setProgress(ThreadProgress* progress) { m_progress = progress; }

protected:
    void processSlices() override;

private:
    int m_direction;
    ThreadProgress* m_progress = nullptr;
};
