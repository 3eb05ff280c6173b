#include "arvo/differential/Gradient.h"

#include "arvo/differential/GradientWorker.h"
#include "arvo/frame/CallChecks.h"
#include "arvo/frame/ThreeImages3D.h"
#include "arvo/platform/threading/ThreadProgress.h"

#include <new>

Gradient::Gradient() = default;
Gradient::~Gradient() = default;

Gradient::Gradient(const Gradient& other) : SliceWorkerCalculation(other), m_inputImage(other.m_inputImage) {}

Gradient& Gradient::operator=(const Gradient& other)
{
    if (this != &other) {
        SliceWorkerCalculation::operator=(other);
        m_inputImage = other.m_inputImage;
        reset(); // what was computed belongs to the old input
    }
    return *this;
}

void Gradient::execute(const std::atomic<bool>& cancel)
try {
    reset();
    if (!frame::isUsable(m_inputImage)) {
        frame::refuse("Gradient : no valid input image.");
        return;
    }
    if (!createGradientImage() || cancel.load())
        return;
    const int numSlices = m_inputImage->imageSize().z;
    if (m_progress)
        m_progress->setTotal(3 * numSlices);
    defineWorkLoad(numSlices);
    createAllWorkers();
    m_success = runAllWorkers(cancel);
    deleteAllWorkers();
    m_gradientImage->editingFinished();
} catch (const std::bad_alloc&) {
    deleteAllWorkers();
    m_gradientImage.reset();
    frame::refuse("Gradient : out of memory.");
}

ThreeImages3D* Gradient::takeGradientImage()
{
    return m_gradientImage.release();
}

void Gradient::reset()
{
    m_gradientImage.reset();
    m_success = false;
}

bool Gradient::createGradientImage()
{
    std::unique_ptr<ArvoImage3D> components[3];
    for (auto& component : components) {
        component = std::make_unique<ArvoImage3D>(m_inputImage->imageSize(), m_inputImage->voxelSize(),
                                                  image::Float32);
        if (!component->isValid())
            return false;
    }
    m_gradientImage =
        std::make_unique<ThreeImages3D>(components[0].get(), components[1].get(), components[2].get());
    for (auto& component : components) // only the field, now that there is one, owns them
        (void)component.release();
    return true;
}

void Gradient::createAllWorkers()
{
    ArvoImage3D* const outputs[] = {m_gradientImage->getU(), m_gradientImage->getV(),
                                    m_gradientImage->getW()};
    forEachRange(m_inputImage->imageSize().z, [&](int start, int stop) {
        for (int direction = 0; direction < 3; ++direction) {
            auto* worker = new GradientWorker(direction, nullptr);
            addWorker(worker);
            worker->setImages(m_inputImage, outputs[direction]);
            worker->setWork(start, stop);
            worker->setProgress(m_progress);
        }
    });
}
