#pragma once

#include <cstddef>
#include <sstream>
#include <string>

namespace host {

/// Keeps what is written to std::cerr while it lives: some readers tell only there that a file is damaged.
class CapturedErrors {
public:
    CapturedErrors();
    ~CapturedErrors();
    CapturedErrors(const CapturedErrors&) = delete;
    CapturedErrors& operator=(const CapturedErrors&) = delete;

    std::string text() const { return m_text.str(); }

private:
    std::ostringstream m_text;
    std::streambuf* m_before;
};

/// Whether a NIfTI file, compressed or not, holds that many bytes of voxels; the reader puts zeros for missing ones
/// and says nothing. An empty text if so, else what is missing.
std::string missingInNifti(const std::string& path, std::size_t voxelBytes);

/// The text as one line, without the addresses of objects in it.
std::string asOneLine(const std::string& text);

} // namespace host
