#pragma once

#include "arvo/platform/Export.h"

#include <QByteArray>
#include <QString>

/// A named metadata record of a volume: an integer tag, a name and a payload of raw bytes.
class ARVO_PLATFORM_EXPORT ArvoImage3DInfo {
public:
    /// Keeps a copy of the payload.
    ArvoImage3DInfo(int tag, const QString& name, const QByteArray& payload);
    /// A record of its own: a payload is never shared, so that writing to one record leaves the other as it is.
    /// @{
    ArvoImage3DInfo(const ArvoImage3DInfo& other);
    ArvoImage3DInfo& operator=(const ArvoImage3DInfo&) = delete;
    /// @}

    /// What the record was made with: a volume finds it by either.
    /// @{
    int tag() const { return m_tag; }
    const QString& name() const { return m_name; }
    /// @}

    /// The payload, `size()` bytes; writable, owned by the record.
    /// @{
    char* data() const { return m_payload.data(); }
    qsizetype size() const { return m_payload.size(); }
    /// @}

private:
    int m_tag;
    QString m_name;
    mutable QByteArray m_payload;
};
