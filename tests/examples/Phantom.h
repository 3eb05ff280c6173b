#pragma once

#include "arvo/platform/image/ArvoImage3D.h"

#include <QString>

/// A head of tissue in air with a hollow skull, an opening in it and a speck beside it, in Hounsfield units; 8-bit
/// voxels hold them shifted and divided so that they fit.
ArvoImage3D phantom(const math::Ivec3& size, image::DataType type);

/// Writes such a phantom as MetaImage and returns the path of its header.
QString writePhantom(const QString& folder, const QString& name, const math::Ivec3& size,
                     image::DataType type);

/// Writes `text` into a new file and returns its path.
QString writeText(const QString& folder, const QString& name, const QByteArray& text);
