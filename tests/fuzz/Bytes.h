#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>

namespace fuzz {

/// The bytes of one input, taken off the front; past their end everything reads as 0.
class Bytes {
public:
    Bytes() = default;
    Bytes(const std::uint8_t* data, std::size_t size) : m_data(data), m_size(size) {}

    bool isEmpty() const { return m_size == 0; }

    template <class T> T take()
    {
        static_assert(std::is_trivially_copyable_v<T>);
        T value{};
        const std::size_t count = m_size < sizeof value ? m_size : sizeof value;
        if (count > 0)
            std::memcpy(&value, m_data, count);
        m_data += count;
        m_size -= count;
        return value;
    }

    /// From 0 to bound - 1, of one byte: bound is at most 256.
    int takeBelow(int bound) { return take<std::uint8_t>() % bound; }

    bool takeBool() { return takeBelow(2) != 0; }

    /// Mostly a small number, of one byte; sometimes a number that loops and products cannot stand.
    int takeInt()
    {
        using Limits = std::numeric_limits<int>;
        static constexpr int rare[] = {Limits::max(), Limits::min(), 100000, -100000, 1 << 16,
                                       32767,         -32768,        300,    -300,    1000};
        const int first = take<std::uint8_t>();
        if (first < 240)
            return first < 200 ? first % 20 : -(first - 200);
        return first < 250 ? rare[first - 240] : take<std::int16_t>();
    }

    /// Mostly a small number of quarters, of one byte; sometimes a special one or any bits at all.
    float takeFloat()
    {
        using Limits = std::numeric_limits<float>;
        static constexpr float rare[] = {Limits::quiet_NaN(),
                                         Limits::infinity(),
                                         -Limits::infinity(),
                                         -0.0f,
                                         Limits::max(),
                                         Limits::denorm_min(),
                                         1e10f,
                                         -1e10f,
                                         0.3333333f,
                                         Limits::lowest()};
        const int first = take<std::uint8_t>();
        if (first < 240)
            return static_cast<float>(first - 60) / 4.0f;
        return first < 250 ? rare[first - 240] : take<float>();
    }

private:
    const std::uint8_t* m_data = nullptr;
    std::size_t m_size = 0;
};

} // namespace fuzz
