#include "ViewerWindow.h"

#include "OperationPanel.h"
#include "ProjectionView.h"
#include "SliceView.h"

#include "support/Picture.h"
#include "support/VolumeFile.h"

#include <QAction>
#include <QFileDialog>
#include <QFileInfo>
#include <QGridLayout>
#include <QLabel>
#include <QMenuBar>
#include <QStatusBar>

#include <algorithm>

namespace viewer {

ViewerWindow::ViewerWindow() : m_message(new QLabel), m_where(new QLabel)
{
    makeViews();
    makeMenus();
    m_message->setObjectName("message");
    statusBar()->addWidget(m_message, 1);
    statusBar()->addPermanentWidget(m_where);
    connect(&m_runner, &OperationRunner::finished, this, &ViewerWindow::finish);
    connect(&m_clock, &QTimer::timeout, this, [this] { m_panel->showProgress(m_runner.progress()); });
    setWindowTitle("Volume viewer");
    resize(1180, 800);
    say("Open a volume: NIfTI, NRRD, MetaImage or DICOM.");
}

ViewerWindow::~ViewerWindow() = default;

void ViewerWindow::makeViews()
{
    auto* centre = new QWidget;
    auto* grid = new QGridLayout(centre);
    grid->setContentsMargins(4, 4, 4, 4);
    grid->setSpacing(4);
    for (const host::Plane plane : {host::Plane::Axial, host::Plane::Coronal, host::Plane::Sagittal}) {
        auto* view = new SliceView(plane);
        connect(view, &SliceView::positionPicked, this, &ViewerWindow::setPosition);
        connect(view, &PictureView::windowDragged, this, &ViewerWindow::dragWindow);
        m_slices.push_back(view);
    }
    m_projection = new ProjectionView;
    connect(m_projection, &PictureView::windowDragged, this, &ViewerWindow::dragWindow);
    m_panel = new OperationPanel;
    connect(m_panel, &OperationPanel::runRequested, this, &ViewerWindow::run);
    connect(m_panel, &OperationPanel::cancelRequested, this, [this] {
        m_runner.cancel();
        say(m_jobTitle + ": stopping ...");
    });
    grid->addWidget(m_slices[0], 0, 0);
    grid->addWidget(m_projection, 0, 1);
    grid->addWidget(m_slices[1], 1, 0);
    grid->addWidget(m_slices[2], 1, 1);
    grid->addWidget(m_panel, 0, 2, 2, 1);
    setCentralWidget(centre);
}

void ViewerWindow::makeMenus()
{
    QMenu* file = menuBar()->addMenu("&File");
    m_openAction = file->addAction("&Open ...", QKeySequence::Open, this, &ViewerWindow::askAndOpen);
    file->addAction("&Save picture ...", QKeySequence::Save, this, &ViewerWindow::askAndSave);
    file->addSeparator();
    file->addAction("&Quit", QKeySequence::Quit, this, &QWidget::close);
    QMenu* view = menuBar()->addMenu("&View");
    m_originalAction = view->addAction("&Original volume", this, &ViewerWindow::showOriginal);
    m_maskAction = view->addAction("&Mask");
    m_maskAction->setCheckable(true);
    m_maskAction->setChecked(true);
    connect(m_maskAction, &QAction::toggled, this, &ViewerWindow::setMaskVisible);
}

void ViewerWindow::open(const QString& path)
{
    m_path = path;
    start("Reading " + QFileInfo(path).fileName(), [path](const JobControl&) {
        host::LoadedVolume loaded = host::readVolume(path.toStdString());
        if (!loaded.image)
            return Outcome::failed(QString::fromStdString(loaded.problem));
        Outcome outcome;
        outcome.volume = std::move(loaded.image);
        outcome.summary = QString::fromStdString(loaded.note);
        outcome.isNewSubject = true;
        return outcome;
    });
}

void ViewerWindow::run(int operation, const std::vector<double>& values)
{
    const Operation& chosen = allOperations()[static_cast<std::size_t>(operation)];
    if (!m_subject.volume || (chosen.needsMask && !m_subject.mask))
        return say(chosen.name + ": " + (m_subject.volume ? "nothing is marked yet" : "no volume is open"));
    start(chosen.name, [&chosen, values, subject = m_subject](const JobControl& control) {
        return chosen.run(subject, values, control);
    });
}

void ViewerWindow::start(const QString& title, OperationRunner::Job job)
{
    if (!m_runner.start(std::move(job)))
        return;
    m_jobTitle = title;
    m_panel->setRunning(true);
    m_openAction->setEnabled(false);
    m_originalAction->setEnabled(false);
    m_clock.start(50);
    say(title + " ...");
}

void ViewerWindow::finish(const Outcome& outcome)
{
    m_clock.stop();
    m_panel->setRunning(false);
    m_openAction->setEnabled(true);
    m_originalAction->setEnabled(true);
    if (outcome.isCancelled) {
        say(m_jobTitle + ": cancelled");
    } else if (!outcome.problem.isEmpty()) {
        say(m_jobTitle + ": " + outcome.problem);
    } else {
        if (outcome.isNewSubject) {
            m_original = m_subject.volume = outcome.volume;
            m_subject.mask.reset();
            const math::Ivec3 size = outcome.volume->imageSize();
            m_position = {size.x / 2, size.y / 2, size.z / 2};
            setWindowTitle(QFileInfo(m_path).fileName() + " - Volume viewer");
        } else {
            m_subject.volume = outcome.volume ? outcome.volume : m_subject.volume;
            m_subject.mask = outcome.mask ? outcome.mask : m_subject.mask;
        }
        if (outcome.volume)
            m_window = outcome.window.value_or(host::windowOf(*outcome.volume));
        showSubject();
        say(m_jobTitle + ": done" + (outcome.summary.isEmpty() ? "" : "; " + outcome.summary));
    }
    Q_EMIT jobFinished();
}

void ViewerWindow::showOriginal()
{
    if (!m_original || m_runner.isRunning())
        return;
    m_subject = {m_original, nullptr};
    m_window = host::windowOf(*m_original);
    showSubject();
    say("The volume as it was read.");
}

void ViewerWindow::showSubject()
{
    setMaskVisible(m_maskAction->isChecked());
    m_projection->setVolume(m_subject.volume);
    m_panel->setSubject(m_subject);
    setWindow(m_window);
}

void ViewerWindow::setMaskVisible(bool isVisible)
{
    for (SliceView* view : m_slices)
        view->setVolume(m_subject.volume, isVisible ? m_subject.mask : nullptr, m_position);
}

void ViewerWindow::setPosition(const math::Ivec3& voxel)
{
    m_position = voxel;
    for (SliceView* view : m_slices)
        view->setPosition(voxel);
    showWhere();
}

void ViewerWindow::setWindow(const math::Range<float>& window)
{
    m_window = window;
    for (SliceView* view : m_slices)
        view->setWindow(window);
    m_projection->setWindow(window);
    showWhere();
}

void ViewerWindow::dragWindow(const QPoint& step)
{
    constexpr float PIXELS_PER_RANGE = 500; // a drag over that many pixels covers the value range
    const math::Range<float> range = m_subject.volume->getValueRange();
    const float unit = std::max(range.second - range.first, 1e-6f) / PIXELS_PER_RANGE;
    const float level =
        0.5f * (m_window.first + m_window.second) + unit * static_cast<float>(step.y()); // upwards brightens
    const float width =
        std::max(m_window.second - m_window.first + unit * static_cast<float>(step.x()), unit);
    setWindow({level - 0.5f * width, level + 0.5f * width});
}

void ViewerWindow::showWhere()
{
    if (!m_subject.volume)
        return;
    const float value = m_subject.volume->getFloatValue(m_position.x, m_position.y, m_position.z);
    m_where->setText(QString("voxel %1, %2, %3: %4    level %5, width %6")
                         .arg(m_position.x)
                         .arg(m_position.y)
                         .arg(m_position.z)
                         .arg(static_cast<double>(value), 0, 'g', 5)
                         .arg(static_cast<double>(0.5f * (m_window.first + m_window.second)), 0, 'g', 4)
                         .arg(static_cast<double>(m_window.second - m_window.first), 0, 'g', 4));
}

bool ViewerWindow::savePicture(const QString& path)
{
    const bool isSaved = grab().save(path);
    say(isSaved ? "Saved " + path : path + ": cannot be written");
    return isSaved;
}

void ViewerWindow::say(const QString& text)
{
    m_message->setText(text);
}

QString ViewerWindow::message() const
{
    return m_message->text();
}

void ViewerWindow::askAndOpen()
{
    const QString path = QFileDialog::getOpenFileName(
        this, "Open a volume", {}, "Volumes (*.mhd *.mha *.nii *.nii.gz *.nrrd *.nhdr *.dcm);;All files (*)");
    if (!path.isEmpty())
        open(path.endsWith(".dcm") ? QFileInfo(path).path() : path); // a slice stands for its series
}

void ViewerWindow::askAndSave()
{
    const QString path =
        QFileDialog::getSaveFileName(this, "Save a picture of the window", "viewer.png", "Pictures (*.png)");
    if (!path.isEmpty())
        savePicture(path);
}

} // namespace viewer
