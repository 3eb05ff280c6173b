#include "arvo/platform/threading/ThreadProgress.h"

void ThreadProgress::setTotal(int total)
{
    m_value.store(0, std::memory_order_relaxed);
    m_total.store(total, std::memory_order_relaxed);
}

void ThreadProgress::advance(int steps)
{
    m_value.fetch_add(steps, std::memory_order_relaxed);
}

int ThreadProgress::value() const
{
    return m_value.load(std::memory_order_relaxed);
}

int ThreadProgress::total() const
{
    return m_total.load(std::memory_order_relaxed);
}
