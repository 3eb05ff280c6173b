#include "support/VolumeFile.h"

#include "support/FileCompleteness.h"

#include "arvo/platform/image/ElementTypes.h"

#include <itkGDCMImageIO.h>
#include <itkGDCMSeriesFileNames.h>
#include <itkImageFileReader.h>
#include <itkImageFileWriter.h>
#include <itkImageIOFactory.h>
#include <itkImageSeriesReader.h>

#include <array>
#include <cstring>
#include <filesystem>

namespace host {

namespace {

constexpr int ORIENTATION_TAG = 0x20001;

/// What to read: one file, or the files of a series with the reader for them.
struct Source {
    std::vector<std::string> files;
    itk::ImageIOBase::Pointer io;
};

/// The direction columns times the spacing: the world vectors of one step along x, y and z.
template <class Image> QByteArray orientationOf(const Image& image)
{
    std::array<float, 9> columns;
    for (unsigned axis = 0; axis < 3; ++axis) {
        for (unsigned row = 0; row < 3; ++row)
            columns[axis * 3 + row] =
                static_cast<float>(image.GetDirection()[row][axis] * image.GetSpacing()[axis]);
    }
    return QByteArray(reinterpret_cast<const char*>(columns.data()), sizeof columns);
}

template <class T> std::unique_ptr<ArvoImage3D> read(const Source& source, image::DataType type)
{
    using Image = itk::Image<T, 3>;
    const auto reader = itk::ImageSeriesReader<Image>::New();
    reader->SetImageIO(source.io);
    reader->SetFileNames(source.files);
    reader->Update();

    const Image& image = *reader->GetOutput();
    const auto size = image.GetLargestPossibleRegion().GetSize();
    const auto spacing = image.GetSpacing();
    auto volume = std::make_unique<ArvoImage3D>(
        math::Ivec3(static_cast<int>(size[0]), static_cast<int>(size[1]), static_cast<int>(size[2])),
        QVector3D(static_cast<float>(spacing[0]), static_cast<float>(spacing[1]),
                  static_cast<float>(spacing[2])),
        type);
    if (!volume->isValid())
        throw std::bad_alloc();
    std::memcpy(volume->dataPtr(), image.GetBufferPointer(), size[0] * size[1] * size[2] * sizeof(T));
    volume->editFinished();
    volume->addInfo(ORIENTATION_TAG, "ImageOrientation", orientationOf(image));
    return volume;
}

Source sourceOf(const std::string& path)
{
    Source source;
    if (std::filesystem::is_directory(path)) {
        const auto names = itk::GDCMSeriesFileNames::New();
        names->SetInputDirectory(path);
        if (!names->GetSeriesUIDs().empty())
            source.files = names->GetFileNames(names->GetSeriesUIDs().front());
        source.io = itk::GDCMImageIO::New();
        return source;
    }
    source.files = {path};
    source.io =
        itk::ImageIOFactory::CreateImageIO(path.c_str(), itk::ImageIOFactory::IOFileModeEnum::ReadMode);
    return source;
}

LoadedVolume failed(const std::string& problem)
{
    LoadedVolume loaded;
    loaded.problem = problem;
    return loaded;
}

LoadedVolume readElements(const Source& source)
{
    using Component = itk::ImageIOBase::IOComponentEnum;
    LoadedVolume loaded;
    const Component component = source.io->GetComponentType();
    const auto converted = [&](const char* target) {
        loaded.note =
            itk::ImageIOBase::GetComponentTypeAsString(component) + " voxels were converted to " + target;
    };
    switch (component) {
    case Component::UCHAR:
        loaded.image = read<unsigned char>(source, image::UInt8);
        break;
    case Component::SHORT:
        loaded.image = read<short>(source, image::Int16);
        break;
    case Component::USHORT:
        loaded.image = read<unsigned short>(source, image::UInt16);
        break;
    case Component::FLOAT:
        loaded.image = read<float>(source, image::Float32);
        break;
    case Component::CHAR:
        converted("signed 16-bit");
        loaded.image = read<short>(source, image::Int16);
        break;
    default:
        converted("32-bit float");
        loaded.image = read<float>(source, image::Float32);
        break;
    }
    return loaded;
}

/// What a reader did not tell as an error though the file is damaged; empty if nothing.
std::string damageOf(const Source& source, const std::string& complaints)
{
    if (std::string(source.io->GetNameOfClass()) == "NiftiImageIO")
        return missingInNifti(source.files.front(),
                              static_cast<std::size_t>(source.io->GetImageSizeInBytes()));
    for (const char* sign : {"not read completely", "Uncompress failed"}) {
        if (complaints.find(sign) != std::string::npos)
            return "the file is too short or damaged: " + asOneLine(complaints);
    }
    return {};
}

} // namespace

LoadedVolume readVolume(const std::string& path)
{
    if (!std::filesystem::exists(path))
        return failed(path + ": no such file or folder");
    itk::Object::GlobalWarningDisplayOff();
    const CapturedErrors complaints;
    const auto unreadable = [&](const std::string& reason) {
        const std::string first = complaints.text().empty() ? reason : complaints.text();
        return failed(path + ": cannot be read: " + asOneLine(first));
    };
    try {
        const Source source = sourceOf(path);
        if (source.files.empty())
            return failed(path + ": the folder holds no DICOM series");
        if (!source.io)
            return failed(path + ": not an image; taken are NIfTI, NRRD, MetaImage and DICOM");
        source.io->SetFileName(source.files.front());
        source.io->ReadImageInformation();
        if (source.io->GetNumberOfComponents() != 1)
            return failed(path + ": a voxel has " + std::to_string(source.io->GetNumberOfComponents()) +
                          " values; taken are images of one value a voxel");
        const bool isDeep = source.files.size() > 1 ||
                            (source.io->GetNumberOfDimensions() >= 3 && source.io->GetDimensions(2) > 1);
        if (!isDeep)
            return failed(path + ": a 2D image; taken are volumes of at least two slices");
        LoadedVolume loaded = readElements(source);
        const std::string damage = damageOf(source, complaints.text());
        return damage.empty() ? std::move(loaded) : failed(path + ": " + damage);
    } catch (const itk::ExceptionObject& error) {
        return unreadable(error.GetDescription());
    } catch (const std::bad_alloc&) {
        return failed(path + ": there is not enough memory for the volume");
    } catch (const std::exception& error) {
        return unreadable(error.what());
    }
}

std::string writeVolume(const ArvoImage3D& image, const std::string& path)
{
    std::string problem = path + ": not implemented for this data type";
    image::withElementType(image.dataType(), image::VoxelTypes{}, nullptr, [&](auto element) {
        using T = typename decltype(element)::type;
        using Image = itk::Image<T, 3>;
        const math::Ivec3 size = image.imageSize();
        const QVector3D spacing = image.voxelSize();
        typename Image::SizeType extent;
        typename Image::SpacingType step;
        for (unsigned axis = 0; axis < 3; ++axis) {
            extent[axis] = static_cast<itk::SizeValueType>(size[static_cast<int>(axis)]);
            step[axis] = static_cast<double>(spacing[static_cast<int>(axis)]);
        }
        try {
            const auto copy = Image::New();
            copy->SetRegions(extent);
            copy->SetSpacing(step);
            copy->Allocate();
            std::memcpy(copy->GetBufferPointer(), image.dataPtr(),
                        extent[0] * extent[1] * extent[2] * sizeof(T));
            itk::WriteImage(copy, path, true);
            problem.clear();
        } catch (const std::exception& error) {
            problem = path + ": cannot be written: " + error.what();
        }
    });
    return problem;
}

} // namespace host
