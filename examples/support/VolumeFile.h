#pragma once

#include "arvo/platform/image/ArvoImage3D.h"

#include <memory>
#include <string>

/// Reading and writing of volumes for the example hosts, with ITK.
namespace host {

struct LoadedVolume {
    std::unique_ptr<ArvoImage3D> image; ///< null when it could not be read
    std::string problem;                ///< then: what was found and what is taken, for the user to read
    std::string note;                   ///< what was converted on the way in, if anything
};

/// Reads a 3D scalar image: NIfTI, NRRD, MetaImage, any other format ITK knows, or a folder with a DICOM series.
///
/// 8- and 16-bit integers and 32-bit floats go in as they are; signed 8-bit becomes signed 16-bit, other numbers become
/// float, with a note. The direction and spacing of the file become the volume's orientation record.
LoadedVolume readVolume(const std::string& path);

/// Writes the volume in the format of the path's extension; an empty text on success, else the problem.
std::string writeVolume(const ArvoImage3D& image, const std::string& path);

} // namespace host
