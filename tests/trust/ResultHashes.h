#pragma once

#include "arvo/frame/SliceWorker.h"
#include "arvo/platform/image/ArvoImage3D.h"
#include "arvo/platform/image/ElementTypes.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

class Image2D;

/// The results of all operations on fixed inputs, as one hash an operation; see ResultHashes.cpp.
namespace trust {

/// FNV-1a, 64 bits.
class Hash {
public:
    void addBytes(const void* data, std::size_t count);
    template <class T> void add(const T& value) { addBytes(&value, sizeof(T)); }
    /// NaN counts as one value: compilers may swap the operands of a sum, and then its payload differs.
    void addFloats(const float* values, std::size_t count);
    /// Size, voxel size, element type and voxels.
    void addVolume(const ArvoImage3D* volume);
    void addPicture(const Image2D& picture);
    std::uint64_t value() const { return m_value; }

private:
    std::uint64_t m_value = 14695981039346656037u;
};

/// What was computed. A name that is given again - for another thread count or another split into ranges - has to come
/// with the same hash.
class Results {
public:
    void add(const std::string& name, const Hash& hash);
    void add(const std::string& name, const ArvoImage3D* volume);
    template <class T> void addValue(const std::string& name, const T& value)
    {
        Hash hash;
        hash.add(value);
        add(name, hash);
    }
    const std::map<std::string, std::uint64_t>& lines() const { return m_lines; }
    bool isConsistent() const { return m_isConsistent; }

private:
    std::map<std::string, std::uint64_t> m_lines;
    bool m_isConsistent = true;
};

const std::vector<math::Ivec3>& fixedSizes();
const char* nameOf(image::DataType type);
std::string nameOf(image::DataType type, const math::Ivec3& size);

/// A volume made by integer arithmetic alone: a ball brighter than its surroundings, and noise over the whole range of
/// the type; floats are sixteenths. The same voxels for the same arguments, on every machine.
ArvoImage3D fixedVolume(const math::Ivec3& size, image::DataType type, unsigned seed);
/// A mask of 0 and 1: a ball with holes, and specks.
ArvoImage3D fixedMask(const math::Ivec3& size, unsigned seed);
ArvoImage3D copyOf(const ArvoImage3D& volume);

/// Runs `make(first, last)` for the slice ranges that 1, 2, 3, 7 and 16 workers would get, one cut after the other: all
/// workers of a cut are started together and waited for; then `finish(number of workers asked for, workers)`.
using MakeWorker = std::function<std::unique_ptr<SliceWorker>(int first, int last)>;
using Workers = std::vector<std::unique_ptr<SliceWorker>>;
void forEachCut(int slices, const std::function<void()>& prepare, const MakeWorker& make,
                const std::function<void(int, const Workers&)>& finish);
/// The [first, last] ranges of that many workers.
std::vector<std::pair<int, int>> rangesOf(int workers, int count);

void hashVolumes(Results& results);
void hashVoxelOperations(Results& results);
void hashDifferential(Results& results);
void hashMasks(Results& results);
void hashFilters(Results& results);
void hashReslices(Results& results);
void hashGeometry(Results& results);

} // namespace trust
