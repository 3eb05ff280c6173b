#pragma once

#include "Operations.h"

#include <QWidget>

class QFormLayout;
class QLabel;
class QListWidget;
class QProgressBar;
class QPushButton;

namespace viewer {

/// The list of operations, the form for the parameters of the chosen one, and what is going on: bar and cancel button.
class OperationPanel : public QWidget {
    Q_OBJECT

public:
    explicit OperationPanel(QWidget* parent = nullptr);

    /// Fits the forms to the volume on show; null: nothing can be run.
    void setSubject(const Subject& subject);
    void choose(int operation);
    int chosen() const;
    /// The values in the form, in the order of the parameters.
    std::vector<double> values() const;

    /// While `isRunning` nothing else can be started.
    void setRunning(bool isRunning);
    void showProgress(const ThreadProgress& progress);

Q_SIGNALS:
    void runRequested(int operation, const std::vector<double>& values);
    void cancelRequested();

private:
    void buildForm();
    void fitVoxelValues();
    void updateButtons();

    Subject m_subject;
    bool m_isRunning = false;
    QListWidget* m_list;
    QLabel* m_hint;
    QFormLayout* m_form;
    std::vector<QWidget*> m_fields; ///< a spin box or a check box for each parameter
    QPushButton* m_run;
    QProgressBar* m_bar;
    QPushButton* m_cancel;
};

} // namespace viewer
