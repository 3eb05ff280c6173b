#include "arvo/platform/image/ArvoImage3DInfo.h"

ArvoImage3DInfo::ArvoImage3DInfo(int tag, const QString& name, const QByteArray& payload)
    : m_tag(tag),
      m_name(name),
      m_payload(payload)
{
    // Detached once here, so that data() never reallocates under two readers.
    m_payload.detach();
}

ArvoImage3DInfo::ArvoImage3DInfo(const ArvoImage3DInfo& other)
    : ArvoImage3DInfo(other.m_tag, other.m_name, other.m_payload)
{
}
