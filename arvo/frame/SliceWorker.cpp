#include "arvo/frame/SliceWorker.h"

#include <QDeadlineTimer>

#include <new>

SliceWorker::SliceWorker(QObject* parent) : QThread(parent) {}

SliceWorker::~SliceWorker() = default;

void SliceWorker::setImages(ArvoImage3D* input, ArvoImage3D* output)
{
    m_inputImage = input;
    m_outputImage = output;
}

void SliceWorker::setWork(int startSlice, int stopSlice)
{
    m_startSlice = startSlice;
    m_stopSlice = stopSlice;
}

void SliceWorker::startWithCancel(const std::atomic<bool>* cancel)
{
    m_cancel = cancel;
    start(QThread::InheritPriority);
}

void SliceWorker::waitUntilDone()
{
    wait(QDeadlineTimer(QDeadlineTimer::Forever));
    (void)m_isDone.load(std::memory_order_acquire);
}

void SliceWorker::run()
{
    failed();
    try {
        processSlices();
    } catch (const std::bad_alloc&) {
        failed();
        qWarning("%s : out of memory.", metaObject()->className());
    }
    m_isDone.store(true, std::memory_order_release);
}
