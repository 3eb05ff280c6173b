#include "OperationPanel.h"

#include <QCheckBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QLabel>
#include <QListWidget>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>

namespace viewer {

namespace {

void fill(QDoubleSpinBox& box, const Parameter& parameter)
{
    box.setDecimals(parameter.decimals);
    box.setRange(parameter.lowest, parameter.highest);
    box.setSingleStep(parameter.decimals == 0 ? 1.0 : 0.1);
    box.setValue(parameter.initial);
}

QWidget* fieldFor(const Parameter& parameter)
{
    if (parameter.kind == Parameter::SWITCH) {
        auto* box = new QCheckBox;
        box->setChecked(parameter.initial != 0.0);
        return box;
    }
    auto* box = new QDoubleSpinBox;
    fill(*box, parameter);
    if (!parameter.unit.isEmpty())
        box->setSuffix(" " + parameter.unit);
    return box;
}

double valueOf(const QWidget* field)
{
    if (const auto* box = qobject_cast<const QCheckBox*>(field))
        return box->isChecked() ? 1.0 : 0.0;
    return qobject_cast<const QDoubleSpinBox*>(field)->value();
}

} // namespace

OperationPanel::OperationPanel(QWidget* parent)
    : QWidget(parent),
      m_list(new QListWidget),
      m_hint(new QLabel),
      m_form(new QFormLayout),
      m_run(new QPushButton("Run")),
      m_bar(new QProgressBar),
      m_cancel(new QPushButton("Cancel"))
{
    m_list->setObjectName("operations");
    m_run->setObjectName("run");
    m_bar->setObjectName("progress");
    m_cancel->setObjectName("cancel");
    m_hint->setWordWrap(true);
    for (const Operation& operation : allOperations())
        m_list->addItem(operation.name);
    m_list->setFixedHeight(m_list->sizeHintForRow(0) * m_list->count() + 2 * m_list->frameWidth() + 4);

    auto* column = new QVBoxLayout(this);
    column->addWidget(new QLabel("<b>Operations</b>"));
    column->addWidget(m_list);
    column->addWidget(m_hint);
    column->addLayout(m_form);
    column->addWidget(m_run);
    column->addStretch();
    column->addWidget(m_bar);
    column->addWidget(m_cancel);
    setFixedWidth(250);

    connect(m_list, &QListWidget::currentRowChanged, this, &OperationPanel::buildForm);
    connect(m_run, &QPushButton::clicked, this, [this] { Q_EMIT runRequested(chosen(), values()); });
    connect(m_cancel, &QPushButton::clicked, this, &OperationPanel::cancelRequested);
    choose(0);
    setRunning(false);
}

void OperationPanel::setSubject(const Subject& subject)
{
    const bool isSameVolume = subject.volume == m_subject.volume;
    m_subject = subject;
    if (!isSameVolume)
        fitVoxelValues();
    updateButtons();
}

void OperationPanel::choose(int operation)
{
    m_list->setCurrentRow(operation);
}

int OperationPanel::chosen() const
{
    return m_list->currentRow();
}

std::vector<double> OperationPanel::values() const
{
    std::vector<double> values;
    for (const QWidget* field : m_fields)
        values.push_back(valueOf(field));
    return values;
}

void OperationPanel::buildForm()
{
    while (m_form->rowCount() > 0)
        m_form->removeRow(0);
    m_fields.clear();
    const Operation& operation = allOperations()[static_cast<std::size_t>(chosen())];
    for (const Parameter& parameter : operation.parameters) {
        QWidget* field = fieldFor(m_subject.volume ? fitted(parameter, *m_subject.volume) : parameter);
        m_form->addRow(parameter.name, field);
        m_fields.push_back(field);
    }
    updateButtons();
}

/// Thresholds follow the volume; everything else stays as the user set it.
void OperationPanel::fitVoxelValues()
{
    const Operation& operation = allOperations()[static_cast<std::size_t>(chosen())];
    for (std::size_t i = 0; i < m_fields.size() && m_subject.volume; ++i) {
        if (operation.parameters[i].kind == Parameter::VOXEL_VALUE)
            fill(*qobject_cast<QDoubleSpinBox*>(m_fields[i]),
                 fitted(operation.parameters[i], *m_subject.volume));
    }
}

void OperationPanel::updateButtons()
{
    const Operation& operation = allOperations()[static_cast<std::size_t>(chosen())];
    const bool lacksMask = operation.needsMask && !m_subject.mask;
    m_hint->setText(lacksMask ? operation.hint + " Mark a part first: bone and its largest part."
                              : operation.hint);
    m_run->setEnabled(!m_isRunning && m_subject.volume && !lacksMask);
    m_cancel->setEnabled(m_isRunning);
}

void OperationPanel::setRunning(bool isRunning)
{
    m_isRunning = isRunning;
    m_bar->setRange(0, 100);
    m_bar->setValue(0);
    m_bar->setTextVisible(isRunning);
    updateButtons();
}

void OperationPanel::showProgress(const ThreadProgress& progress)
{
    m_bar->setRange(0, progress.total()); // without a total the bar only shows that something is going on
    m_bar->setValue(progress.value());
}

} // namespace viewer
