#pragma once

#include "arvo/platform/image/ArvoImage3D.h"

#include <QDir>
#include <QTemporaryDir>

/// A head of tissue in air with a hollow skull, an opening in it and a speck beside it, in Hounsfield units; 8-bit
/// voxels hold them shifted and divided so that they fit.
ArvoImage3D phantom(const math::Ivec3& size, image::DataType type);

/// A folder of its own for a test.
class TestFolder {
public:
    QString path(const QString& name = {}) const { return QDir(m_folder.path()).filePath(name); }

    /// Writes a file and returns its path.
    /// @{
    QString write(const QString& name, const QByteArray& text) const;
    QString writePhantom(const math::Ivec3& size, image::DataType type = image::Int16,
                         const QString& name = "head.nii") const;
    /// @}

private:
    QTemporaryDir m_folder;
};
