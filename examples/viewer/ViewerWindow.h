#pragma once

#include "OperationRunner.h"

#include <QMainWindow>
#include <QTimer>

class QAction;
class QLabel;

namespace viewer {

class OperationPanel;
class ProjectionView;
class SliceView;

/// Three linked slices, a projection and the operations of the library on one volume.
class ViewerWindow : public QMainWindow {
    Q_OBJECT

public:
    ViewerWindow();
    ~ViewerWindow() override;

    /// Reads the volume on the worker thread and shows it; `jobFinished` follows. A problem goes to the status bar.
    void open(const QString& path);
    /// Writes a picture of the window; false, and a message, when it cannot.
    bool savePicture(const QString& path);

    const Subject& subject() const { return m_subject; }
    math::Ivec3 position() const { return m_position; }
    math::Range<float> window() const { return m_window; }
    /// The line in the status bar.
    QString message() const;

Q_SIGNALS:
    /// A volume was read or an operation ended, in whatever way.
    void jobFinished();

public Q_SLOTS:
    void setPosition(const math::Ivec3& voxel);
    void dragWindow(const QPoint& step);
    void run(int operation, const std::vector<double>& values);
    /// Back to the volume as it was read, without a mask.
    void showOriginal();
    void setMaskVisible(bool isVisible);

private:
    void makeMenus();
    void makeViews();
    void start(const QString& title, OperationRunner::Job job);
    void finish(const Outcome& outcome);
    void showSubject();
    void setWindow(const math::Range<float>& window);
    void say(const QString& text);
    void showWhere();
    void askAndOpen();
    void askAndSave();

    Volume m_original;
    Subject m_subject;
    math::Ivec3 m_position;
    math::Range<float> m_window{0.0f, 1.0f};
    QString m_jobTitle;
    QString m_path;

    std::vector<SliceView*> m_slices;
    ProjectionView* m_projection = nullptr;
    OperationPanel* m_panel = nullptr;
    QAction* m_openAction = nullptr;
    QAction* m_originalAction = nullptr;
    QAction* m_maskAction = nullptr;
    QLabel* m_message;
    QLabel* m_where;
    QTimer m_clock;
    OperationRunner m_runner; ///< last, so that its thread has ended before anything else goes
};

} // namespace viewer
