#include "support/FileCompleteness.h"

#include <itk_zlib.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <memory>
#include <regex>
#include <vector>

namespace host {

namespace {

constexpr std::size_t NIFTI_HEADER = 348, OFFSET_FIELD = 108;

/// Where the voxels of a single-file NIfTI start.
std::size_t voxelOffset(const std::array<char, NIFTI_HEADER>& header)
{
    std::array<char, 4> bytes;
    std::copy_n(header.begin() + OFFSET_FIELD, bytes.size(), bytes.begin());
    int headerSize = 0;
    std::memcpy(&headerSize, header.data(), sizeof headerSize);
    if (headerSize != static_cast<int>(NIFTI_HEADER)) // written with the other byte order
        std::ranges::reverse(bytes);
    float offset = 0.0f;
    std::memcpy(&offset, bytes.data(), sizeof offset);
    return static_cast<std::size_t>(std::clamp(offset, static_cast<float>(NIFTI_HEADER), 1e9f));
}

} // namespace

CapturedErrors::CapturedErrors() : m_before(std::cerr.rdbuf(m_text.rdbuf())) {}

CapturedErrors::~CapturedErrors()
{
    std::cerr.rdbuf(m_before);
}

std::string missingInNifti(const std::string& path, std::size_t voxelBytes)
{
    const std::filesystem::path file(path);
    if (file.extension() == ".hdr" || file.extension() == ".img") {
        const auto voxels = std::filesystem::path(file).replace_extension(".img");
        if (std::filesystem::exists(voxels) && std::filesystem::file_size(voxels) < voxelBytes)
            return voxels.string() + " is too short for its header";
        return {};
    }
    const std::unique_ptr<gzFile_s, int (*)(gzFile)> stream(gzopen(path.c_str(), "rb"), gzclose);
    std::array<char, NIFTI_HEADER> header{};
    if (!stream || gzread(stream.get(), header.data(), NIFTI_HEADER) != static_cast<int>(NIFTI_HEADER))
        return "the file ends within its header";
    const std::size_t needed = voxelOffset(header) + voxelBytes;
    std::size_t held = NIFTI_HEADER;
    if (gzdirect(stream.get()) != 0) {
        held = std::filesystem::file_size(file);
    } else {
        std::vector<char> block(std::size_t(1) << 20);
        int count = 0;
        while (held < needed &&
               (count = gzread(stream.get(), block.data(), static_cast<unsigned>(block.size()))) > 0)
            held += static_cast<std::size_t>(count);
    }
    if (held >= needed)
        return {};
    return "the file is too short: " + std::to_string(held) + " of " + std::to_string(needed) + " bytes";
}

std::string asOneLine(const std::string& text)
{
    const std::string plain =
        std::regex_replace(text, std::regex("(ITK ERROR: )?\\w+\\(0x[0-9a-f]+\\): "), "");
    const std::string line = std::regex_replace(plain, std::regex("\\s+"), " ");
    const std::size_t first = line.find_first_not_of(' ');
    return first == std::string::npos ? "" : line.substr(first, line.find_last_not_of(' ') + 1 - first);
}

} // namespace host
