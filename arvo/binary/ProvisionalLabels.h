#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

namespace binary {

/// The labels that runs get while a mask is scanned, and which of them belong to one part.
///
/// A union-find forest over 16-bit labels whose roots are always the smallest label of their part. Labels stop at
/// LIMIT: every part that starts after it was handed out shares it.
class ProvisionalLabels {
public:
    static constexpr std::uint16_t NONE = 0;
    static constexpr std::uint16_t LIMIT = 32767;

    ProvisionalLabels() : m_parents(std::make_unique<Table>()) {}

    bool isFull() const { return m_last == LIMIT; }
    std::size_t runCount() const { return m_ofRun.size(); }

    /// Adds runs up to that number, all with that label.
    void addRuns(std::size_t runCount, std::uint16_t label) { m_ofRun.resize(runCount, label); }

    /// Gives the run a label of its own, or LIMIT when there is none left.
    void start(std::size_t run)
    {
        if (!isFull()) {
            ++m_last;
            (*m_parents)[m_last] = m_last;
        }
        m_ofRun[run] = m_last;
    }

    /// Makes the two runs one part. `labelled` has a label; `run` may have none.
    void join(std::size_t run, std::size_t labelled)
    {
        const std::uint16_t other = (*m_parents)[m_ofRun[labelled]];
        const std::uint16_t own = m_ofRun[run];
        const std::uint16_t kept = own == NONE ? other : own; // no branch: neither case is rare
        m_ofRun[run] = kept;
        if (kept != other)
            m_ofRun[run] = unite(kept, other);
    }

    /// Whether every run from `first` on belongs to the part of label LIMIT, which has been handed out.
    bool areAllPastLimit(std::size_t first)
    {
        const std::uint16_t limit = root(LIMIT);
        return std::all_of(m_ofRun.begin() + static_cast<std::ptrdiff_t>(first), m_ofRun.end(),
                           [&](std::uint16_t label) { return root(label) == limit; });
    }

    /// Numbers the parts 1 to K in the order of their smallest labels; returns the final label of every run, and K.
    std::pair<std::vector<std::uint16_t>, int> finish() &&
    {
        int parts = 0;
        Table& table = *m_parents;
        // A parent has a smaller label than its child: one pass turns parents into final labels.
        for (int label = 1; label <= m_last; ++label) {
            const std::uint16_t parent = table[static_cast<std::size_t>(label)];
            table[static_cast<std::size_t>(label)] =
                parent == label ? static_cast<std::uint16_t>(++parts) : table[parent];
        }
        for (std::uint16_t& label : m_ofRun)
            label = table[label];
        return {std::move(m_ofRun), parts};
    }

private:
    using Table = std::array<std::uint16_t, LIMIT + 1>;

    std::uint16_t unite(std::uint16_t a, std::uint16_t b)
    {
        a = root(a);
        b = root(b);
        const std::uint16_t smaller = std::min(a, b);
        (*m_parents)[std::max(a, b)] = smaller;
        return smaller;
    }

    std::uint16_t root(std::uint16_t label)
    {
        Table& parents = *m_parents;
        while (parents[label] != label)
            label = parents[label] = parents[parents[label]];
        return label;
    }

    std::unique_ptr<Table> m_parents; // of each label; a root is its own
    std::uint16_t m_last = NONE;
    std::vector<std::uint16_t> m_ofRun;
};

} // namespace binary
