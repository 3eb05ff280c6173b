#include "arvo/platform/threading/Calculation.h"

Calculation::Calculation() = default;
Calculation::Calculation(const Calculation&) = default;
Calculation& Calculation::operator=(const Calculation&) = default;
Calculation::~Calculation() = default;

void Calculation::setProgress(ThreadProgress* progress)
{
    m_progress = progress;
}
