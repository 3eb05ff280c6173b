#pragma once

#include "arvo/platform/threading/ThreadProgress.h"

#include <QString>

#include <atomic>
#include <functional>

/// The terminal side of a run: the cancel flag that Ctrl-C raises, and a progress bar while a step works.
namespace terminal {

/// Raised by the first Ctrl-C; a second one ends the process at once.
std::atomic<bool>& cancelFlag();
void catchInterrupt();

/// Runs `work` on a thread of its own and shows how far `progress` has come: a bar on a terminal, else one line at the
/// end. Returns what `work` returns, an empty text on success, or what it threw.
QString runShown(const QString& title, const ThreadProgress& progress, const std::function<QString()>& work);

} // namespace terminal
