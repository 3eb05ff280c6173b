#pragma once

#include <string>

/// The instructions of a part of the program, counted by callgrind; without effect outside it.
namespace bench {

/// False where this program was built without callgrind's header or does not run in callgrind.
bool canCountInstructions();
/// Starts to count, on all threads.
void startCounting();
/// Ends the count and writes it as a profile of that name.
void stopCounting(const std::string& name);

} // namespace bench
