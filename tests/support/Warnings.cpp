#include "support/Warnings.h"

#include <QString>
#include <QtGlobal>

#include <mutex>

namespace {

struct Log {
    std::mutex mutex;
    std::vector<std::string> warnings;
    std::vector<std::string> debug;
    QtMessageHandler previous = nullptr;
};

Log& messages()
{
    static Log log;
    return log;
}

void collect(QtMsgType type, const QMessageLogContext&, const QString& text)
{
    const std::lock_guard lock(messages().mutex);
    (type == QtDebugMsg ? messages().debug : messages().warnings).push_back(text.toStdString());
}

} // namespace

Warnings::Warnings()
{
    messages().warnings.clear();
    messages().debug.clear();
    messages().previous = qInstallMessageHandler(collect);
}

Warnings::~Warnings()
{
    qInstallMessageHandler(messages().previous);
}

std::vector<std::string> Warnings::texts() const
{
    const std::lock_guard lock(messages().mutex);
    return messages().warnings;
}

std::vector<std::string> Warnings::debugTexts() const
{
    const std::lock_guard lock(messages().mutex);
    return messages().debug;
}
