#pragma once

#include "arvo/frame/Export.h"
#include "arvo/platform/image/ArvoImage3D.h"

#include <QThread>

#include <atomic>

/// A thread that processes one range of axial slices; subclasses say what is done to them.
///
/// Workers of one run share nothing but their input: each writes its own slices.
class ARVO_VOLUME_EXPORT SliceWorker : public QThread {
    Q_OBJECT

public:
    /// A worker without images or range; started by startWithCancel().
    explicit SliceWorker(QObject* parent = nullptr);
    ~SliceWorker() override;

    /// The volume to read or change, and the one to write (null for workers without one). Neither is owned.
    void setImages(ArvoImage3D* input, ArvoImage3D* output);
    /// The range of slices, both ends inclusive; a stop below the start is an empty range.
    void setWork(int startSlice, int stopSlice);
    /// Starts the thread, which from then on may read the flag. It stays owned by the caller.
    void startWithCancel(const std::atomic<bool>* cancel);
    /// Waits without a deadline until the thread has finished; what it wrote is then visible to the caller.
    void waitUntilDone();
    /// Whether the work function reported success; to be asked after waitUntilDone().
    bool isSuccessful() const { return m_isSuccessful; }

protected:
    /// Calls processSlices(); a range that runs out of memory has failed, with a warning.
    void run() override;

    /// Processes the range. Returning without a call of succeeded() is a failure; an empty range succeeds.
    virtual void processSlices() = 0;

    /// What setImages() and setWork() were given. An image that was not set is an invalid one, not to be written.
    /// @{
    ArvoImage3D& getInputImage() const { return m_inputImage ? *m_inputImage : m_noImage; }
    ArvoImage3D& getOutputImage() const { return m_outputImage ? *m_outputImage : m_noImage; }
    int getStartSlice() const { return m_startSlice; }
    int getStopSlice() const { return m_stopSlice; }
    /// @}
    /// Whether the range lies inside the input image; an empty one does.
    bool isRangeInside() const
    {
        return m_startSlice > m_stopSlice ||
               (m_startSlice >= 0 && m_stopSlice < getInputImage().imageSize().z);
    }
    /// The flag handed over at the start; before that, or without one, a flag that is never raised.
    const std::atomic<bool>& getCancelFlag() const { return m_cancel ? *m_cancel : m_ownCancel; }
    /// What processSlices() reports; the last call counts.
    /// @{
    void succeeded() { m_isSuccessful = true; }
    void failed() { m_isSuccessful = false; }
    /// @}

private:
    ArvoImage3D* m_inputImage = nullptr;
    ArvoImage3D* m_outputImage = nullptr;
    int m_startSlice = 0;
    int m_stopSlice = 0;
    bool m_isSuccessful = false;
    const std::atomic<bool>* m_cancel = nullptr;
    std::atomic<bool> m_ownCancel{false};
    std::atomic<bool> m_isDone{
        false};                    // hands the results over: the thread class's own hand-over lies inside Qt
    mutable ArvoImage3D m_noImage; // so that a worker without volumes makes a bad call and not a crash
};
