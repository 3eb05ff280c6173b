#pragma once

#include <string>
#include <vector>

/// Collects the warnings that are logged while it lives, from all threads, and keeps them off the terminal.
class Warnings {
public:
    Warnings();
    ~Warnings();
    Warnings(const Warnings&) = delete;
    Warnings& operator=(const Warnings&) = delete;

    /// The texts so far, in order.
    std::vector<std::string> texts() const;
    /// The debug messages so far, in order.
    std::vector<std::string> debugTexts() const;
};
