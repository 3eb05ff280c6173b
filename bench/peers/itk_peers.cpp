// Times the ITK 5 filter that does the job of each workload in WORKLOADS.md. Only Update() on an in-memory image is
// timed; a new filter object per run makes ITK allocate its output afresh. --check compares each result with a direct
// evaluation at hash-chosen interior voxels and prints a digest.
#include "harness.h"
#include "phantom.h"

#include <cmath>
#include <limits>
#include <map>
#include <memory>
#include <numeric>

#include "itkAddImageFilter.h"
#include "itkAffineTransform.h"
#include "itkBinaryContourImageFilter.h"
#include "itkBinaryDilateImageFilter.h"
#include "itkBinaryErodeImageFilter.h"
#include "itkBinaryShapeKeepNObjectsImageFilter.h"
#include "itkBinaryThresholdImageFilter.h"
#include "itkBinShrinkImageFilter.h"
#include "itkBoxMeanImageFilter.h"
#include "itkBoxSpatialObject.h"
#include "itkCastImageFilter.h"
#include "itkConnectedComponentImageFilter.h"
#include "itkDerivativeImageFilter.h"
#include "itkDiscreteGaussianImageFilter.h"
#include "itkExtractImageFilter.h"
#include "itkFastChamferDistanceImageFilter.h"
#include "itkFlatStructuringElement.h"
#include "itkGradientImageFilter.h"
#include "itkGradientMagnitudeImageFilter.h"
#include "itkGrayscaleDilateImageFilter.h"
#include "itkGrayscaleErodeImageFilter.h"
#include "itkImage.h"
#include "itkImageMaskSpatialObject.h"
#include "itkImageMomentsCalculator.h"
#include "itkImageRegionIteratorWithIndex.h"
#include "itkImageToHistogramFilter.h"
#include "itkIntensityWindowingImageFilter.h"
#include "itkLabelStatisticsImageFilter.h"
#include "itkLinearInterpolateImageFunction.h"
#include "itkMaskNegatedImageFilter.h"
#include "itkMaximumImageFilter.h"
#include "itkMaximumProjectionImageFilter.h"
#include "itkMeanImageFilter.h"
#include "itkMinimumImageFilter.h"
#include "itkMultiThreaderBase.h"
#include "itkNaryAddImageFilter.h"
#include "itkNeighborhoodOperatorImageFilter.h"
#include "itkOtsuThresholdCalculator.h"
#include "itkRayCastInterpolateImageFunction.h"
#include "itkRelabelComponentImageFilter.h"
#include "itkResampleImageFilter.h"
#include "itkRoundImageFilter.h"
#include "itkShrinkImageFilter.h"
#include "itkSignedMaurerDistanceMapImageFilter.h"
#include "itkSmoothingRecursiveGaussianImageFilter.h"
#include "itkSpatialObjectToImageFilter.h"
#include "itkStatisticsImageFilter.h"
#include "itkSumProjectionImageFilter.h"

using harness::bench;
using harness::text;

namespace {

template <class T> using Volume = itk::Image<T, 3>;
template <class T> using Ptr = typename Volume<T>::Pointer;

int n = 256;            // edge
std::size_t voxels = 0; // n^3
std::vector<std::array<int, 3>> probes;

std::size_t at(int x, int y, int z)
{
    return (std::size_t(z) * n + y) * n + x;
}

template <class T> Ptr<T> allocate(std::array<long, 3> size)
{
    auto image = Volume<T>::New();
    typename Volume<T>::RegionType region;
    for (int k = 0; k < 3; ++k)
        region.SetSize(k, size[k]);
    image->SetRegions(region);
    image->Allocate();
    return image;
}

template <class T> Ptr<T> toImage(const std::vector<T>& v)
{
    auto image = allocate<T>({n, n, n});
    std::copy(v.begin(), v.end(), image->GetBufferPointer());
    return image;
}

template <class Image> double value(const Image& image, int x, int y, int z)
{
    return double(image->GetPixel({{x, y, z}}));
}

// Largest difference of result and reference over the probes, and the digest: the sum over the interior voxels.
template <class Image, class Reference> std::string compare(const Image& image, Reference reference)
{
    double worst = 0, sum = 0;
    for (const auto& p : probes)
        worst =
            std::max(worst, std::abs(value(image, p[0], p[1], p[2]) - double(reference(p[0], p[1], p[2]))));
    const auto size = image->GetBufferedRegion().GetSize();
    const int margin = 16;
    for (int z = margin; z < int(size[2]) - margin; ++z)
        for (int y = margin; y < int(size[1]) - margin; ++y)
            for (int x = margin; x < int(size[0]) - margin; ++x)
                sum += value(image, x, y, z);
    return text("max difference %.6g, interior sum %.10g", worst, sum);
}

const auto update = [](auto& f) { f->Update(); };

// A data object does not keep the filter that makes it alive; a pipeline does.
template <class Filter> struct Pipeline {
    typename Filter::Pointer last;
    std::vector<itk::ProcessObject::Pointer> upstream;
    Filter* operator->() const { return last.GetPointer(); }
};

template <class Filter, class... Upstream>
Pipeline<Filter> pipeline(const itk::SmartPointer<Filter>& last, const Upstream&... upstream)
{
    return {last, {upstream.GetPointer()...}};
}

// --- direct evaluations ----------------------------------------------------------------------------------------

constexpr double kR[3][3] = {
    {12 / 13., -3 / 13., 4 / 13.}, {4 / 13., 12 / 13., -3 / 13.}, {-3 / 13., 4 / 13., 12 / 13.}};

template <class T> double trilinear(const std::vector<T>& v, double x, double y, double z)
{
    if (x < 0 || y < 0 || z < 0 || x > n - 1 || y > n - 1 || z > n - 1)
        return 0;
    const int i = std::min(int(x), n - 2), j = std::min(int(y), n - 2), k = std::min(int(z), n - 2);
    const double f = x - i, g = y - j, h = z - k;
    double s = 0;
    for (int c = 0; c < 8; ++c)
        s += (c & 1 ? f : 1 - f) * (c & 2 ? g : 1 - g) * (c & 4 ? h : 1 - h) *
             double(v[at(i + (c & 1), j + (c >> 1 & 1), k + (c >> 2))]);
    return s;
}

std::array<double, 3> rotated(double x, double y, double z)
{
    const double c = n / 2.0, p[3] = {x - c, y - c, z - c};
    std::array<double, 3> q;
    for (int r = 0; r < 3; ++r)
        q[r] = c + kR[r][0] * p[0] + kR[r][1] * p[1] + kR[r][2] * p[2];
    return q;
}

std::vector<double> gaussKernel(int radius, double sigma)
{
    std::vector<double> k;
    for (int d = -radius; d <= radius; ++d)
        k.push_back(std::exp(-d * d / (2 * sigma * sigma)));
    const double s = std::accumulate(k.begin(), k.end(), 0.0);
    for (double& v : k)
        v /= s;
    return k;
}

template <class T> double gaussAt(const std::vector<T>& v, const std::vector<double>& k, int x, int y, int z)
{
    const int r = int(k.size()) / 2;
    double s = 0;
    for (int c = -r; c <= r; ++c)
        for (int b = -r; b <= r; ++b)
            for (int a = -r; a <= r; ++a)
                s += k[a + r] * k[b + r] * k[c + r] * double(v[at(x + a, y + b, z + c)]);
    return s;
}

std::vector<std::array<int, 3>> element(bool ball, int r)
{
    std::vector<std::array<int, 3>> out;
    for (int c = -r; c <= r; ++c)
        for (int b = -r; b <= r; ++b)
            for (int a = -r; a <= r; ++a)
                if (!ball || a * a + b * b + c * c < (r + 0.5) * (r + 0.5))
                    out.push_back({a, b, c});
    return out;
}

struct Parts {
    std::size_t count = 0, largest = 0;
};

Parts floodFill(const std::vector<std::uint8_t>& mask, bool full)
{
    std::vector<std::uint8_t> todo = mask;
    std::vector<std::uint32_t> stack;
    Parts parts;
    for (std::size_t s = 0; s < todo.size(); ++s) {
        if (!todo[s])
            continue;
        todo[s] = 0;
        stack.assign(1, std::uint32_t(s));
        std::size_t size = 0;
        while (!stack.empty()) {
            const std::size_t p = stack.back();
            stack.pop_back();
            ++size;
            const int x = int(p % n), y = int(p / n % n), z = int(p / n / n);
            for (int c = -1; c <= 1; ++c)
                for (int b = -1; b <= 1; ++b)
                    for (int a = -1; a <= 1; ++a) {
                        if (!full && std::abs(a) + std::abs(b) + std::abs(c) != 1)
                            continue;
                        const int i = x + a, j = y + b, k = z + c;
                        if (i < 0 || j < 0 || k < 0 || i >= n || j >= n || k >= n || !todo[at(i, j, k)])
                            continue;
                        todo[at(i, j, k)] = 0;
                        stack.push_back(std::uint32_t(at(i, j, k)));
                    }
        }
        ++parts.count;
        parts.largest = std::max(parts.largest, size);
    }
    return parts;
}

// Chessboard distance to the nearest set voxel, by growing shells.
int chessboard(const std::vector<std::uint8_t>& mask, int x, int y, int z)
{
    for (int r = 0;; ++r) {
        if (r > n)
            return 32766;
        for (int k = std::max(0, z - r); k <= std::min(n - 1, z + r); ++k)
            for (int j = std::max(0, y - r); j <= std::min(n - 1, y + r); ++j)
                for (int i = std::max(0, x - r); i <= std::min(n - 1, x + r); ++i)
                    if (mask[at(i, j, k)])
                        return r;
    }
}

// --- families --------------------------------------------------------------------------------------------------

template <class Filter, class Image> auto binary(const Image& a, const Image& b)
{
    return [=] {
        auto f = Filter::New();
        f->SetInput1(a);
        f->SetInput2(b);
        return f;
    };
}

template <class T> void addition(const char* name, const std::vector<T>& a, const std::vector<T>& b)
{
    if (!harness::wanted(name))
        return;
    auto A = toImage(a), B = toImage(b);
    using Filter = itk::AddImageFilter<Volume<T>, Volume<T>, Volume<T>>;
    const auto check = [&](auto& f) {
        return compare(f->GetOutput(),
                       [&](int x, int y, int z) { return double(T(a[at(x, y, z)] + b[at(x, y, z)])); });
    };
    bench(name, "itk Add", voxels, binary<Filter>(A, B), update, check);
    bench(
        name, "itk Add in place", voxels,
        [&] {
            auto f = Filter::New();
            f->SetInput1(toImage(a));
            f->SetInput2(B);
            f->InPlaceOn();
            return f;
        },
        update, check);
}

template <class T>
void minMax(const char* name, const std::vector<T>& a, const std::vector<T>& b, bool maximum)
{
    if (!harness::wanted(name))
        return;
    auto A = toImage(a), B = toImage(b);
    const auto check = [&](auto& f) {
        return compare(f->GetOutput(), [&](int x, int y, int z) {
            return double(maximum ? std::max(a[at(x, y, z)], b[at(x, y, z)])
                                  : std::min(a[at(x, y, z)], b[at(x, y, z)]));
        });
    };
    using V = Volume<T>;
    if (maximum)
        bench(name, "itk Maximum", voxels, binary<itk::MaximumImageFilter<V, V, V>>(A, B), update, check);
    else
        bench(name, "itk Minimum", voxels, binary<itk::MinimumImageFilter<V, V, V>>(A, B), update, check);
}

template <class T>
void replacement(const char* name, const std::vector<T>& v, const std::vector<std::uint8_t>& mask)
{
    if (!harness::wanted(name))
        return;
    auto A = toImage(v);
    auto M = toImage(mask);
    bench(
        name, "itk MaskNegated", voxels,
        [&] {
            auto f = itk::MaskNegatedImageFilter<Volume<T>, Volume<std::uint8_t>, Volume<T>>::New();
            f->SetInput(A);
            f->SetMaskImage(M);
            f->SetOutsideValue(T(-1000));
            return f;
        },
        update,
        [&](auto& f) {
            return compare(f->GetOutput(), [&](int x, int y, int z) {
                return double(mask[at(x, y, z)] ? T(-1000) : v[at(x, y, z)]);
            });
        });
}

template <class T> void mean(const char* name, const std::vector<T>& v)
{
    if (!harness::wanted(name))
        return;
    auto A = toImage(v);
    bench(
        name, "itk Statistics (also min max sigma)", voxels,
        [&] {
            auto f = itk::StatisticsImageFilter<Volume<T>>::New();
            f->SetInput(A);
            return f;
        },
        update,
        [&](auto& f) {
            return text("mean %.10g, direct %.10g", f->GetMean(),
                        std::accumulate(v.begin(), v.end(), 0.0) / double(voxels));
        });
}

template <class T> auto histogramOf(const Ptr<T>& image, int bins, double lo, double hi)
{
    auto f = itk::Statistics::ImageToHistogramFilter<Volume<T>>::New();
    f->SetInput(image);
    typename std::decay_t<decltype(*f)>::HistogramType::SizeType size(1);
    size.Fill(bins);
    f->SetHistogramSize(size);
    f->SetAutoMinimumMaximum(false);
    typename std::decay_t<decltype(*f)>::HistogramMeasurementVectorType low(1), high(1);
    low.Fill(lo);
    high.Fill(hi);
    f->SetHistogramBinMinimum(low);
    f->SetHistogramBinMaximum(high);
    f->SetMarginalScale(10);
    return f;
}

template <class T> void medians(const char* name, const std::vector<T>& v)
{
    if (!harness::wanted(name))
        return;
    auto A = toImage(v);
    const bool exact = std::is_integral_v<T>;
    const auto [lo, hi] = std::minmax_element(v.begin(), v.end());
    const double low = exact ? double(*lo) - 0.5 : double(*lo);
    const double high = exact ? double(*hi) + 0.5 : double(*hi);
    const int bins = exact ? int(high - low) : 65536;
    bench(
        name,
        exact ? "itk ImageToHistogram + Quantile"
              : "itk ImageToHistogram + Quantile (65536 bins approximate)",
        voxels, [&] { return histogramOf<T>(A, bins, low, high); },
        [](auto& f) {
            f->Update();
            volatile double q = f->GetOutput()->Quantile(0, 0.5);
            (void)q;
        },
        [&](auto& f) {
            std::vector<T> c = v;
            std::nth_element(c.begin(), c.begin() + c.size() / 2, c.end());
            return text("median %.8g, direct upper median %.8g", f->GetOutput()->Quantile(0, 0.5),
                        double(c[c.size() / 2]));
        });
}

template <class T> void otsu(const char* name, const std::vector<T>& v, bool exact)
{
    if (!harness::wanted(name))
        return;
    auto A = toImage(v);
    const auto [lo, hi] = std::minmax_element(v.begin(), v.end());
    const double low = exact ? double(*lo) - 0.5 : double(*lo),
                 high = exact ? double(*hi) + 0.5 : double(*hi);
    const int bins = exact ? int(high - low) : 100000;
    using Histogram = typename itk::Statistics::ImageToHistogramFilter<Volume<T>>::HistogramType;
    double threshold = 0;
    bench(
        name, "itk ImageToHistogram + OtsuThresholdCalculator", voxels,
        [&] { return histogramOf<T>(A, bins, low, high); },
        [&](auto& f) {
            f->Update();
            auto c = itk::OtsuThresholdCalculator<Histogram, double>::New();
            c->SetInput(f->GetOutput());
            c->Update();
            threshold = c->GetThreshold();
        },
        [&](auto&) {
            std::map<double, double> h;
            const double width = (high - low) / bins;
            for (T x : v)
                h[exact ? double(x)
                        : low + (std::min(std::floor((x - low) / width), bins - 1.0) + 0.5) * width] += 1;
            double S = 0, best = 0, t = 0, nB = 0, sB = 0;
            const double N = double(voxels);
            for (const auto& [x, c] : h)
                S += x * c;
            for (const auto& [x, c] : h) {
                nB += c;
                sB += c * x;
                if (nB == N)
                    break;
                const double d = sB / nB - (S - sB) / (N - nB), s = nB * (N - nB) * d * d;
                if (s > best) {
                    best = s;
                    t = x;
                }
            }
            return text("threshold %.8g, direct %.8g", threshold, t);
        });
}

template <class T> void gradient(const char* name, const std::vector<T>& v)
{
    if (!harness::wanted(name))
        return;
    auto A = toImage(v);
    bench(
        name, "itk Gradient (3-vector image)", voxels,
        [&] {
            auto f = itk::GradientImageFilter<Volume<T>, float, float>::New();
            f->SetInput(A);
            return f;
        },
        update,
        [&](auto& f) {
            double worst = 0;
            for (const auto& p : probes) {
                const auto g = f->GetOutput()->GetPixel({{p[0], p[1], p[2]}});
                const int x = p[0], y = p[1], z = p[2];
                const double d[3] = {(double(v[at(x + 1, y, z)]) - v[at(x - 1, y, z)]) / 2,
                                     (double(v[at(x, y + 1, z)]) - v[at(x, y - 1, z)]) / 2,
                                     (double(v[at(x, y, z + 1)]) - v[at(x, y, z - 1)]) / 2};
                for (int k = 0; k < 3; ++k)
                    worst = std::max(worst, std::abs(d[k] - g[k]));
            }
            return text("max difference %.6g", worst);
        });
}

void components(const char* name, const std::vector<std::uint8_t>& mask, bool full)
{
    if (!harness::wanted(name))
        return;
    auto M = toImage(mask);
    bench(
        name, "itk ConnectedComponent", voxels,
        [&] {
            auto f = itk::ConnectedComponentImageFilter<Volume<std::uint8_t>, Volume<std::uint32_t>>::New();
            f->SetInput(M);
            f->SetFullyConnected(full);
            return f;
        },
        update,
        [&](auto& f) {
            return text("objects %.0f, flood fill %.0f", double(f->GetObjectCount()),
                        double(floodFill(mask, full).count));
        });
}

void keepLargest(const char* name, const std::vector<std::uint8_t>& mask, bool full)
{
    if (!harness::wanted(name))
        return;
    auto M = toImage(mask);
    using Label = Volume<std::uint32_t>;
    const auto check = [&](auto& f) {
        const auto* p = f->GetOutput()->GetBufferPointer();
        return text("size %.0f, flood fill %.0f",
                    double(std::count_if(p, p + voxels, [](auto b) { return b != 0; })),
                    double(floodFill(mask, full).largest));
    };
    bench(
        name, "itk ConnectedComponent + RelabelComponent + BinaryThreshold", voxels,
        [&] {
            auto c = itk::ConnectedComponentImageFilter<Volume<std::uint8_t>, Label>::New();
            c->SetInput(M);
            c->SetFullyConnected(full);
            auto r = itk::RelabelComponentImageFilter<Label, Label>::New();
            r->SetInput(c->GetOutput());
            auto t = itk::BinaryThresholdImageFilter<Label, Volume<std::uint8_t>>::New();
            t->SetInput(r->GetOutput());
            t->SetLowerThreshold(1);
            t->SetUpperThreshold(1);
            t->SetInsideValue(1);
            t->SetOutsideValue(0);
            return pipeline(t, c, r);
        },
        update, check);
    bench(
        name, "itk BinaryShapeKeepNObjects", voxels,
        [&] {
            auto f = itk::BinaryShapeKeepNObjectsImageFilter<Volume<std::uint8_t>>::New();
            f->SetInput(M);
            f->SetFullyConnected(full);
            f->SetForegroundValue(1);
            f->SetBackgroundValue(0);
            f->SetNumberOfObjects(1);
            f->SetAttribute("NumberOfPixels");
            return f;
        },
        update, check);
}

using Flat = itk::FlatStructuringElement<3>;

Flat flatElement(bool ball, int r)
{
    auto image = allocate<unsigned char>({2 * r + 1, 2 * r + 1, 2 * r + 1});
    image->FillBuffer(0);
    for (const auto& o : element(ball, r))
        image->SetPixel({{o[0] + r, o[1] + r, o[2] + r}}, 255);
    using Bool = Volume<bool>;
    auto flags = Bool::New();
    flags->SetRegions(image->GetBufferedRegion());
    flags->Allocate();
    std::transform(image->GetBufferPointer(),
                   image->GetBufferPointer() + (2 * r + 1) * (2 * r + 1) * (2 * r + 1),
                   flags->GetBufferPointer(), [](unsigned char b) { return b != 0; });
    return Flat::FromImage(flags);
}

void morphology(const char* name, const std::vector<std::uint8_t>& mask, bool dilate, bool ball, int r)
{
    if (!harness::wanted(name))
        return;
    auto M = toImage(mask);
    const Flat kernel = flatElement(ball, r);
    const auto offsets = element(ball, r);
    const auto check = [&](auto& f) {
        return compare(f->GetOutput(), [&](int x, int y, int z) {
            bool any = false, all = true;
            for (const auto& o : offsets) {
                const bool b = mask[at(x + o[0], y + o[1], z + o[2])];
                any |= b;
                all &= b;
            }
            return double(dilate ? any : all);
        });
    };
    using V = Volume<std::uint8_t>;
    const auto prepare = [&](auto f) {
        f->SetInput(M);
        f->SetKernel(kernel);
        return f;
    };
    if (dilate)
        bench(
            name, "itk BinaryDilate", voxels,
            [&] {
                auto f = prepare(itk::BinaryDilateImageFilter<V, V, Flat>::New());
                f->SetForegroundValue(1);
                f->SetBackgroundValue(0);
                return f;
            },
            update, check);
    else
        bench(
            name, "itk BinaryErode", voxels,
            [&] {
                auto f = prepare(itk::BinaryErodeImageFilter<V, V, Flat>::New());
                f->SetForegroundValue(1);
                f->SetBackgroundValue(0);
                f->SetBoundaryToForeground(true);
                return f;
            },
            update, check);
    const Flat box = [&] {
        Flat::RadiusType radius;
        radius.Fill(r);
        return Flat::Box(radius);
    }();
    if (ball && r > 1)
        return;                             // slower than BinaryDilate for every ball
    const Flat& gray = ball ? kernel : box; // a Box is decomposed into lines (van Herk, Gil and Werman)
    const char* label = ball ? "itk Grayscale (flat)" : "itk Grayscale (decomposed box)";
    if (dilate)
        bench(
            name, label, voxels,
            [&] {
                auto f = itk::GrayscaleDilateImageFilter<V, V, Flat>::New();
                f->SetInput(M);
                f->SetKernel(gray);
                return f;
            },
            update, check);
    else
        bench(
            name, label, voxels,
            [&] {
                auto f = itk::GrayscaleErodeImageFilter<V, V, Flat>::New();
                f->SetInput(M);
                f->SetKernel(gray);
                return f;
            },
            update, check);
}

void distances(const char* name, const std::vector<std::uint8_t>& mask)
{
    if (!harness::wanted(name))
        return;
    auto M = toImage(mask);
    using F = Volume<float>;
    // Start image: 0 on the object, far elsewhere. ITK has no filter that makes it and sweeps, so the start image is
    // made outside the timed part for the first figure.
    const auto start = [&](auto type) {
        using T = decltype(type);
        auto s = allocate<T>({n, n, n});
        std::transform(mask.begin(), mask.end(), s->GetBufferPointer(),
                       [](std::uint8_t b) { return b ? T(0) : T(30000); });
        return s;
    };
    auto S = start(0.0f);
    bench(
        name, "itk FastChamferDistance weights 1 1 1 (chessboard; without making the start image)", voxels,
        [&] {
            auto f = itk::FastChamferDistanceImageFilter<F, F>::New();
            f->SetInput(S);
            itk::FixedArray<float, 3> w;
            w.Fill(1);
            f->SetWeights(w);
            f->SetMaximumDistance(20000);
            return f;
        },
        update,
        [&](auto& f) {
            return compare(f->GetOutput(),
                           [&](int x, int y, int z) { return double(chessboard(mask, x, y, z)); });
        });
    bench(
        name, "itk SignedMaurer (Euclidean squared; reference)", voxels,
        [&] {
            auto f = itk::SignedMaurerDistanceMapImageFilter<Volume<std::uint8_t>, F>::New();
            f->SetInput(M);
            f->SquaredDistanceOn();
            f->UseImageSpacingOff();
            return f;
        },
        update, [](auto&) { return std::string("not the same metric"); });
}

std::vector<std::uint8_t> boundaryOf(const std::vector<std::uint8_t>& mask)
{
    std::vector<std::uint8_t> out(mask.size(), 0);
    for (int z = 1; z < n - 1; ++z)
        for (int y = 1; y < n - 1; ++y)
            for (int x = 1; x < n - 1; ++x)
                out[at(x, y, z)] = mask[at(x, y, z)] && !(mask[at(x - 1, y, z)] && mask[at(x + 1, y, z)] &&
                                                          mask[at(x, y - 1, z)] && mask[at(x, y + 1, z)] &&
                                                          mask[at(x, y, z - 1)] && mask[at(x, y, z + 1)]);
    return out;
}

void boundary(const char* name, const std::vector<std::uint8_t>& mask)
{
    if (!harness::wanted(name))
        return;
    auto M = toImage(mask);
    using V = Volume<std::uint8_t>;
    const auto reference = boundaryOf(mask);
    bench(
        name, "itk BinaryContour", voxels,
        [&] {
            auto f = itk::BinaryContourImageFilter<V, V>::New();
            f->SetInput(M);
            f->SetFullyConnected(false);
            f->SetForegroundValue(1);
            f->SetBackgroundValue(0);
            return f;
        },
        update,
        [&](auto& f) {
            return compare(f->GetOutput(),
                           [&](int x, int y, int z) { return double(reference[at(x, y, z)]); });
        });
}

// A directional operator with our own sampled Gaussian taps.
class SampledGaussian : public itk::NeighborhoodOperator<float, 3> {
public:
    int radius = 3;
    double sigma = 2;

protected:
    CoefficientVector GenerateCoefficients() override
    {
        const auto k = gaussKernel(radius, sigma);
        return CoefficientVector(k.begin(), k.end());
    }
    void Fill(const CoefficientVector& c) override { this->FillCenteredDirectional(c); }
};

template <class T> void gauss(const char* name, const std::vector<T>& v, int radius, double sigma)
{
    if (!harness::wanted(name))
        return;
    auto A = toImage(v);
    using V = Volume<T>;
    using F = Volume<float>;
    const auto kernel = gaussKernel(radius, sigma);
    const auto check = [&](auto& f) {
        return compare(f->GetOutput(), [&](int x, int y, int z) { return gaussAt(v, kernel, x, y, z); });
    };
    bench(
        name, "itk 3 x NeighborhoodOperator (same taps)", voxels,
        [&] {
            auto last = itk::NeighborhoodOperatorImageFilter<F, V, float>::New();
            auto first = itk::NeighborhoodOperatorImageFilter<V, F, float>::New();
            auto second = itk::NeighborhoodOperatorImageFilter<F, F, float>::New();
            SampledGaussian op;
            op.radius = radius;
            op.sigma = sigma;
            const auto directional = [&](int axis) {
                op.SetDirection(axis);
                op.CreateDirectional();
                return op;
            };
            first->SetInput(A);
            first->SetOperator(directional(0));
            second->SetInput(first->GetOutput());
            second->SetOperator(directional(1));
            last->SetInput(second->GetOutput());
            last->SetOperator(directional(2));
            return pipeline(last, first, second);
        },
        update, check);
    if (std::is_floating_point_v<T>)
        bench(
            name, "itk DiscreteGaussian (own kernel)", voxels,
            [&] {
                auto f = itk::DiscreteGaussianImageFilter<V, V>::New();
                f->SetInput(A);
                f->SetVariance(sigma * sigma);
                f->SetMaximumKernelWidth(2 * radius + 1);
                f->SetMaximumError(0.0001);
                f->UseImageSpacingOff();
                return f;
            },
            update, check);
    bench(
        name, "itk SmoothingRecursiveGaussian (IIR; reference)", voxels,
        [&] {
            auto f = itk::SmoothingRecursiveGaussianImageFilter<V, V>::New();
            f->SetInput(A);
            f->SetSigma(sigma);
            return f;
        },
        update, check);
}

template <class T> void boxMean(const char* name, const std::vector<T>& v, int r)
{
    if (!harness::wanted(name))
        return;
    auto A = toImage(v);
    using V = Volume<T>;
    const auto check = [&](auto& f) {
        return compare(f->GetOutput(), [&](int x, int y, int z) {
            double s = 0;
            for (int c = -r; c <= r; ++c)
                for (int b = -r; b <= r; ++b)
                    for (int a = -r; a <= r; ++a)
                        s += double(v[at(x + a, y + b, z + c)]);
            return s / std::pow(2 * r + 1, 3);
        });
    };
    bench(
        name, "itk BoxMean", voxels,
        [&] {
            auto f = itk::BoxMeanImageFilter<V, V>::New();
            f->SetInput(A);
            f->SetRadius(r);
            return f;
        },
        update, check);
    if (r == 1)
        bench(
            name, "itk Mean (brute)", voxels,
            [&] {
                auto f = itk::MeanImageFilter<V, V>::New();
                f->SetInput(A);
                f->SetRadius(r);
                return f;
            },
            update, check);
}

itk::AffineTransform<double, 3>::Pointer rotation()
{
    auto t = itk::AffineTransform<double, 3>::New();
    itk::AffineTransform<double, 3>::MatrixType m;
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 3; ++c)
            m[r][c] = kR[r][c];
    itk::AffineTransform<double, 3>::InputPointType centre;
    centre.Fill(n / 2.0);
    t->SetCenter(centre);
    t->SetMatrix(m);
    return t;
}

template <class T> auto resampler(const Ptr<T>& in, std::array<int, 3> size)
{
    auto f = itk::ResampleImageFilter<Volume<T>, Volume<T>>::New();
    f->SetInput(in);
    f->SetInterpolator(itk::LinearInterpolateImageFunction<Volume<T>>::New());
    typename Volume<T>::SizeType s;
    for (int k = 0; k < 3; ++k)
        s[k] = size[k];
    f->SetSize(s);
    return f;
}

// Grid of the 512 x 512 image planes: columns along the first column of R, rows along the second, depth along the third.
constexpr int kPlane = 512;
double pitch()
{
    return 0.75 * n / 256.0;
}
int raySteps()
{
    return 7 * n / 4;
} // 448 at 256

template <class T> auto planeResampler(const Ptr<T>& in, int depth, double step)
{
    auto f = resampler<T>(in, {kPlane, kPlane, depth});
    typename Volume<T>::DirectionType d;
    typename Volume<T>::PointType origin;
    typename Volume<T>::SpacingType spacing;
    spacing[0] = spacing[1] = pitch();
    spacing[2] = step;
    for (int r = 0; r < 3; ++r) {
        for (int c = 0; c < 3; ++c)
            d[r][c] = kR[r][c];
        origin[r] = n / 2.0 - (kPlane / 2) * pitch() * (kR[r][0] + kR[r][1]) - (depth / 2) * step * kR[r][2];
    }
    f->SetOutputDirection(d);
    f->SetOutputOrigin(origin);
    f->SetOutputSpacing(spacing);
    return f;
}

template <class T> double rayValue(const std::vector<T>& v, int c, int r, bool maximum, double outside)
{
    double best = outside, sum = 0;
    for (int k = 0; k < raySteps(); ++k) {
        const double a = (c - kPlane / 2) * pitch(), b = (r - kPlane / 2) * pitch(), d = k - raySteps() / 2;
        double p[3];
        bool in = true;
        for (int i = 0; i < 3; ++i) {
            p[i] = n / 2.0 + a * kR[i][0] + b * kR[i][1] + d * kR[i][2];
            in &= p[i] >= 0 && p[i] <= n - 1;
        }
        if (!in)
            continue;
        const double s = trilinear(v, p[0], p[1], p[2]);
        best = std::max(best, s);
        sum += s;
    }
    return maximum ? best : sum;
}

template <class Image, class Reference> std::string comparePlane(const Image& image, Reference reference)
{
    double worst = 0, sum = 0;
    for (int i = 0; i < 40; ++i) {
        const int c = 130 + int(phantom::hash(i, 0, 0, 301) % 250),
                  r = 130 + int(phantom::hash(i, 1, 0, 301) % 250);
        worst = std::max(worst, std::abs(value(image, c, r, 0) - reference(c, r)));
    }
    const auto* p = image->GetBufferPointer();
    for (std::size_t i = 0; i < std::size_t(kPlane) * kPlane; ++i)
        sum += double(p[i]);
    return text("max difference %.6g, sum %.10g", worst, sum);
}

void slice(const char* name, const std::vector<std::int16_t>& v, int axis)
{
    if (!harness::wanted(name))
        return;
    auto A = toImage(v);
    using V = Volume<std::int16_t>;
    bench(
        name, "itk Extract", double(n) * n,
        [&] {
            auto f = itk::ExtractImageFilter<V, itk::Image<std::int16_t, 2>>::New();
            f->SetInput(A);
            auto region = A->GetBufferedRegion();
            region.SetSize(axis, 0);
            region.SetIndex(axis, n / 2);
            f->SetExtractionRegion(region);
            f->SetDirectionCollapseToSubmatrix();
            return f;
        },
        update,
        [&](auto& f) {
            double worst = 0;
            for (const auto& p : probes) {
                const int a = p[0], b = p[1];
                const auto q = f->GetOutput()->GetPixel({{a, b}});
                const auto e = axis == 2   ? v[at(a, b, n / 2)]
                               : axis == 1 ? v[at(a, n / 2, b)]
                                           : v[at(n / 2, a, b)];
                worst = std::max(worst, std::abs(double(q) - e));
            }
            return text("max difference %.6g", worst);
        });
}

} // namespace

int main(int argc, char** argv)
{
    harness::parse(argc, argv);
    n = harness::options().edge;
    voxels = std::size_t(n) * n * n;
    const int threads = harness::options().threads;
    itk::MultiThreaderBase::SetGlobalMaximumNumberOfThreads(threads);
    itk::MultiThreaderBase::SetGlobalDefaultNumberOfThreads(threads);
    for (std::uint32_t i = 0; i < 300; ++i)
        probes.push_back({int(12 + phantom::hash(i, 0, 0, 401) % (n - 24)),
                          int(12 + phantom::hash(i, 1, 0, 401) % (n - 24)),
                          int(12 + phantom::hash(i, 2, 0, 401) % (n - 24))});

    const auto ct = phantom::ctInt16(n, 0), ctB = phantom::ctInt16(n, 1);
    const auto ct8 = phantom::ctUInt8(ct), ct8B = phantom::ctUInt8(ctB);
    const auto ctF = phantom::ctFloat(ct, n, 0), ctFB = phantom::ctFloat(ctB, n, 1);
    const auto smooth = phantom::maskSmooth(n), parts = phantom::maskParts(ct), noise = phantom::maskNoise(n);
    if (harness::options().check)
        std::printf("# inputs: ct_i16 %llu ct_u8 %llu ct_f32 %llu smooth %llu parts %llu noise %llu\n",
                    (unsigned long long)phantom::checksum(ct), (unsigned long long)phantom::checksum(ct8),
                    (unsigned long long)phantom::checksum(ctF), (unsigned long long)phantom::checksum(smooth),
                    (unsigned long long)phantom::checksum(parts),
                    (unsigned long long)phantom::checksum(noise));
    using I16 = Volume<std::int16_t>;
    using U8 = Volume<std::uint8_t>;
    using F32 = Volume<float>;

    addition("add_u8", ct8, ct8B);
    addition("add_i16", ct, ctB);
    addition("add_f32", ctF, ctFB);
    minMax("min_i16", ct, ctB, false);
    minMax("max_f32", ctF, ctFB, true);

    if (harness::wanted("rescale_i16")) {
        auto A = toImage(ct);
        bench(
            "rescale_i16", "itk IntensityWindowing (saturates)", voxels,
            [&] {
                auto f = itk::IntensityWindowingImageFilter<I16, I16>::New();
                f->SetInput(A);
                f->SetWindowMinimum(-500);
                f->SetWindowMaximum(1500);
                f->SetOutputMinimum(0);
                f->SetOutputMaximum(255);
                return f;
            },
            update,
            [&](auto& f) {
                return compare(f->GetOutput(), [&](int x, int y, int z) {
                    return std::floor((std::clamp(int(ct[at(x, y, z)]), -500, 1500) + 500) *
                                      (255.0 / 2000.0));
                });
            });
    }
    replacement("replace_i16", ct, parts);
    replacement("replace_f32", ctF, parts);
    mean("mean_u8", ct8);
    mean("mean_i16", ct);
    mean("mean_f32", ctF);
    if (harness::wanted("meannz_u8")) {
        auto A = toImage(ct8);
        bench(
            "meannz_u8", "itk BinaryThreshold + LabelStatistics", voxels,
            [&] {
                auto t = itk::BinaryThresholdImageFilter<U8, U8>::New();
                t->SetInput(A);
                t->SetLowerThreshold(1);
                t->SetInsideValue(1);
                t->SetOutsideValue(0);
                auto f = itk::LabelStatisticsImageFilter<U8, U8>::New();
                f->SetInput(A);
                f->SetLabelInput(t->GetOutput());
                return pipeline(f, t);
            },
            update,
            [&](auto& f) {
                double s = 0, k = 0;
                for (auto b : ct8)
                    if (b) {
                        s += b;
                        ++k;
                    }
                return text("mean %.10g, direct %.10g", f->GetMean(1), s / k);
            });
    }
    medians("median_u8", ct8);
    medians("median_i16", ct);
    medians("median_f32", ctF);

    if (harness::wanted("conv_i16_f32")) {
        auto A = toImage(ct);
        bench(
            "conv_i16_f32", "itk Cast", voxels,
            [&] {
                auto f = itk::CastImageFilter<I16, F32>::New();
                f->SetInput(A);
                return f;
            },
            update,
            [&](auto& f) {
                return compare(f->GetOutput(), [&](int x, int y, int z) { return ct[at(x, y, z)]; });
            });
    }
    if (harness::wanted("conv_f32_i16")) {
        auto A = toImage(ctF);
        bench(
            "conv_f32_i16", "itk Round (halves up)", voxels,
            [&] {
                auto f = itk::RoundImageFilter<F32, I16>::New();
                f->SetInput(A);
                return f;
            },
            update,
            [&](auto& f) {
                return compare(f->GetOutput(),
                               [&](int x, int y, int z) { return std::floor(ctF[at(x, y, z)] + 0.5); });
            });
        bench(
            "conv_f32_i16", "itk Cast (truncates)", voxels,
            [&] {
                auto f = itk::CastImageFilter<F32, I16>::New();
                f->SetInput(A);
                return f;
            },
            update,
            [&](auto& f) {
                return compare(f->GetOutput(),
                               [&](int x, int y, int z) { return std::trunc(ctF[at(x, y, z)]); });
            });
    }
    otsu("otsu_i16", ct, true);
    otsu("otsu_f32", ctF, false);
    gradient("grad_f32", ctF);
    gradient("grad_i16", ct);
    if (harness::wanted("gradnorm_f32")) {
        auto A = toImage(ctF);
        bench(
            "gradnorm_f32", "itk GradientMagnitude", voxels,
            [&] {
                auto f = itk::GradientMagnitudeImageFilter<F32, F32>::New();
                f->SetInput(A);
                return f;
            },
            update,
            [&](auto& f) {
                return compare(f->GetOutput(), [&](int x, int y, int z) {
                    const double a = (ctF[at(x + 1, y, z)] - ctF[at(x - 1, y, z)]) / 2.0;
                    const double b = (ctF[at(x, y + 1, z)] - ctF[at(x, y - 1, z)]) / 2.0;
                    const double c = (ctF[at(x, y, z + 1)] - ctF[at(x, y, z - 1)]) / 2.0;
                    return std::sqrt(a * a + b * b + c * c);
                });
            });
    }
    if (harness::wanted("div_f32")) {
        const auto ctFC = phantom::ctFloat(phantom::ctInt16(n, 2), n, 2);
        const std::vector<float>* field[3] = {&ctF, &ctFB, &ctFC};
        Ptr<float> in[3] = {toImage(ctF), toImage(ctFB), toImage(ctFC)};
        bench(
            "div_f32", "itk 3 x Derivative + NaryAdd", voxels,
            [&] {
                auto f = pipeline(itk::NaryAddImageFilter<F32, F32>::New());
                for (int k = 0; k < 3; ++k) {
                    auto d = itk::DerivativeImageFilter<F32, F32>::New();
                    d->SetInput(in[k]);
                    d->SetDirection(k);
                    d->SetOrder(1);
                    d->UseImageSpacingOff();
                    f->SetInput(k, d->GetOutput());
                    f.upstream.push_back(d.GetPointer());
                }
                return f;
            },
            update,
            [&](auto& f) {
                return compare(f->GetOutput(), [&](int x, int y, int z) {
                    const auto& u = *field[0];
                    const auto& v = *field[1];
                    const auto& w = *field[2];
                    return (double(u[at(x + 1, y, z)]) - u[at(x - 1, y, z)] + v[at(x, y + 1, z)] -
                            v[at(x, y - 1, z)] + w[at(x, y, z + 1)] - w[at(x, y, z - 1)]) /
                           2;
                });
            });
    }

    components("cc6_smooth", smooth, false);
    components("cc26_smooth", smooth, true);
    components("cc6_parts", parts, false);
    components("cc26_parts", parts, true);
    components("cc6_noise", noise, false);
    components("cc26_noise", noise, true);
    keepLargest("keep6_parts", parts, false);
    keepLargest("keep26_parts", parts, true);

    morphology("dil_ball1", smooth, true, true, 1);
    morphology("dil_ball2", smooth, true, true, 2);
    morphology("dil_ball3", smooth, true, true, 3);
    morphology("dil_cube2", smooth, true, false, 2);
    morphology("ero_ball1", smooth, false, true, 1);
    morphology("ero_ball2", smooth, false, true, 2);
    morphology("ero_ball3", smooth, false, true, 3);
    morphology("ero_cube2", smooth, false, false, 2);
    distances("dist_object", smooth);
    if (harness::wanted("dist_boundary"))
        distances("dist_boundary", boundaryOf(smooth));
    boundary("boundary_smooth", smooth);
    boundary("boundary_parts", parts);

    gauss("gauss3_f32", ctF, 3, 2.0);
    gauss("gauss3_i16", ct, 3, 2.0);
    gauss("gauss3_u8", ct8, 3, 2.0);
    gauss("gauss8_f32", ctF, 8, 4.0);

    {
        auto A = toImage(ct);
        bench(
            "sub_fast_i16", "itk Shrink (takes the other corner of each block)", voxels,
            [&] {
                auto f = itk::ShrinkImageFilter<I16, I16>::New();
                f->SetInput(A);
                f->SetShrinkFactors(2);
                return f;
            },
            update,
            [&](auto& f) {
                double worst = 0;
                for (const auto& p : probes) {
                    const int x = p[0] / 2, y = p[1] / 2, z = p[2] / 2;
                    const double near =
                        std::abs(value(f->GetOutput(), x, y, z) - ct[at(2 * x + 1, 2 * y + 1, 2 * z + 1)]);
                    worst = std::max(worst, near);
                }
                return text("max difference %.6g from corner (1,1,1)", worst);
            });
        bench(
            "sub_mean_i16", "itk BinShrink", voxels,
            [&] {
                auto f = itk::BinShrinkImageFilter<I16, I16>::New();
                f->SetInput(A);
                f->SetShrinkFactors(2);
                return f;
            },
            update,
            [&](auto& f) {
                double worst = 0;
                for (const auto& p : probes) {
                    const int x = p[0] / 2, y = p[1] / 2, z = p[2] / 2;
                    double s = 0;
                    for (int c = 0; c < 8; ++c)
                        s += ct[at(2 * x + (c & 1), 2 * y + (c >> 1 & 1), 2 * z + (c >> 2))];
                    worst = std::max(worst, std::abs(value(f->GetOutput(), x, y, z) - s / 8));
                }
                return text("max difference %.6g", worst);
            });
    }
    {
        auto A = toImage(ct);
        bench(
            "resample_rot_i16", "itk Resample + LinearInterpolate", voxels,
            [&] {
                auto f = resampler<std::int16_t>(A, {n, n, n});
                f->SetTransform(rotation());
                return f;
            },
            update,
            [&](auto& f) {
                return compare(f->GetOutput(), [&](int x, int y, int z) {
                    const auto q = rotated(x, y, z);
                    return trilinear(ct, q[0], q[1], q[2]);
                });
            });
        bench(
            "resample_fine_i16", "itk Resample + LinearInterpolate", voxels,
            [&] {
                auto f = resampler<std::int16_t>(A, {2 * n, 2 * n, n / 4});
                typename I16::SpacingType spacing;
                spacing.Fill(0.5);
                typename I16::PointType origin;
                origin[0] = origin[1] = 0;
                origin[2] = 3 * n / 8;
                f->SetOutputSpacing(spacing);
                f->SetOutputOrigin(origin);
                return f;
            },
            update,
            [&](auto& f) {
                double worst = 0;
                for (const auto& p : probes) {
                    const int x = p[0], y = p[1], z = p[2] / 4;
                    worst = std::max(worst, std::abs(value(f->GetOutput(), x, y, z) -
                                                     trilinear(ct, x / 2.0, y / 2.0, 3 * n / 8 + z / 2.0)));
                }
                return text("max difference %.6g", worst);
            });
        bench(
            "reslice_oblique_i16", "itk Resample + LinearInterpolate", double(kPlane) * kPlane,
            [&] { return planeResampler<std::int16_t>(A, 1, 1.0); }, update,
            [&](auto& f) {
                return comparePlane(f->GetOutput(), [&](int c, int r) {
                    const double a = (c - kPlane / 2) * pitch(), b = (r - kPlane / 2) * pitch();
                    return trilinear(ct, n / 2.0 + a * kR[0][0] + b * kR[0][1],
                                     n / 2.0 + a * kR[1][0] + b * kR[1][1],
                                     n / 2.0 + a * kR[2][0] + b * kR[2][1]);
                });
            });
        bench(
            "mip_oblique_i16", "itk Resample + MaximumProjection", voxels,
            [&] {
                auto r = planeResampler<std::int16_t>(A, raySteps(), 1.0);
                r->SetDefaultPixelValue(-2000);
                auto f = itk::MaximumProjectionImageFilter<I16, I16>::New();
                f->SetInput(r->GetOutput());
                f->SetProjectionDimension(2);
                return pipeline(f, r);
            },
            update,
            [&](auto& f) {
                return comparePlane(f->GetOutput(),
                                    [&](int c, int r) { return rayValue(ct, c, r, true, -2000); });
            });
    }
    if (harness::wanted("raysum_f32")) {
        std::vector<float> positive = ctF;
        for (float& v : positive)
            v += 1100;
        auto A = toImage(positive);
        const auto check = [&](auto& f) {
            return comparePlane(f->GetOutput(),
                                [&](int c, int r) { return rayValue(positive, c, r, false, 0); });
        };
        bench(
            "raysum_f32", "itk Resample + SumProjection", voxels,
            [&] {
                auto r = planeResampler<float>(A, raySteps(), 1.0);
                auto f = itk::SumProjectionImageFilter<F32, F32>::New();
                f->SetInput(r->GetOutput());
                f->SetProjectionDimension(2);
                return pipeline(f, r);
            },
            update, check);
        bench(
            "raysum_f32", "itk Resample + RayCastInterpolate (bilinear per slice; scaled by the step)",
            voxels,
            [&] {
                auto f = planeResampler<float>(A, 1, 1.0);
                auto ray = itk::RayCastInterpolateImageFunction<F32, double>::New();
                using Identity = itk::AffineTransform<double, 3>;
                ray->SetTransform(Identity::New());
                ray->SetThreshold(0);
                typename itk::RayCastInterpolateImageFunction<F32, double>::InputPointType focus;
                for (int k = 0; k < 3; ++k)
                    focus[k] = n / 2.0 - 1e6 * kR[k][2];
                ray->SetFocalPoint(focus);
                f->SetInterpolator(ray);
                auto identity = Identity::New();
                f->SetTransform(identity);
                return f;
            },
            update, check);
    }
    boxMean("box3_i16", ct, 1);
    boxMean("box3_f32", ctF, 1);
    boxMean("box11_i16", ct, 5);
    boxMean("box11_f32", ctF, 5);
    slice("slice_axial_i16", ct, 2);
    slice("slice_coronal_i16", ct, 1);
    slice("slice_sagittal_i16", ct, 0);

    {
        auto A = toImage(ct);
        const auto threshold = [&] {
            auto t = itk::BinaryThresholdImageFilter<I16, U8>::New();
            t->SetInput(A);
            t->SetLowerThreshold(301);
            t->SetInsideValue(1);
            t->SetOutsideValue(0);
            return t;
        };
        std::array<double, 3> centre{};
        double axis[3] = {};
        const auto moments = [&](auto& t) {
            t->Update();
            auto m = itk::ImageMomentsCalculator<U8>::New();
            m->SetImage(t->GetOutput());
            m->Compute();
            for (int k = 0; k < 3; ++k) {
                centre[k] = m->GetCenterOfGravity()[k];
                axis[k] = m->GetPrincipalAxes()[2][k];
            }
        };
        const auto direct = [&](auto&) {
            double s[3] = {}, k = 0;
            for (int z = 0; z < n; ++z)
                for (int y = 0; y < n; ++y)
                    for (int x = 0; x < n; ++x)
                        if (ct[at(x, y, z)] > 300) {
                            s[0] += x;
                            s[1] += y;
                            s[2] += z;
                            ++k;
                        }
            return text("centre error %.3g; ", std::abs(centre[0] - s[0] / k) +
                                                   std::abs(centre[1] - s[1] / k) +
                                                   std::abs(centre[2] - s[2] / k)) +
                   text("count %.0f; ", k) + text("main axis %.5f %.5f %.5f", axis[0], axis[1], axis[2]);
        };
        bench("masscentre_i16", "itk BinaryThreshold + ImageMoments", voxels, threshold, moments, direct);
        bench("maindirs_i16", "itk BinaryThreshold + ImageMoments", voxels, threshold, moments, direct);
        std::array<long, 6> box{};
        bench(
            "bbox_i16", "itk BinaryThreshold + ImageMaskSpatialObject", voxels, threshold,
            [&](auto& t) {
                t->Update();
                auto m = itk::ImageMaskSpatialObject<3>::New();
                m->SetImage(t->GetOutput());
                const auto region = m->ComputeMyBoundingBoxInIndexSpace();
                for (int k = 0; k < 3; ++k) {
                    box[k] = region.GetIndex(k);
                    box[3 + k] = region.GetIndex(k) + long(region.GetSize(k)) - 1;
                }
            },
            [&](auto&) {
                return text("min %.0f %.0f %.0f ", box[0], box[1], box[2]) +
                       text("max %.0f %.0f %.0f", box[3], box[4], box[5]);
            });
        auto P = toImage(parts);
        double sum = 0;
        bench(
            "countnz_u8", "itk Statistics (sum of a 0/1 mask)", voxels,
            [&] {
                auto f = itk::StatisticsImageFilter<U8>::New();
                f->SetInput(P);
                return f;
            },
            [&](auto& f) {
                f->Update();
                sum = f->GetSum();
            },
            [&](auto&) {
                return text("count %.0f, direct %.0f", sum,
                            double(std::count(parts.begin(), parts.end(), 1)));
            });
    }

    // No filter clips by a plane, fills an oriented box in place or merges placed volumes: an ITK user writes an iterator
    // loop over regions given out by the multi-threader.
    const auto parallel = [](auto image, auto body) {
        auto threader = itk::MultiThreaderBase::New();
        using Region = itk::ImageRegion<3>;
        threader->template ParallelizeImageRegion<3>(
            image->GetBufferedRegion(), [&](const Region& r) { body(r); }, nullptr);
    };
    {
        const auto inHalfSpace = [](double x, double y, double z) {
            return 12 * (x - n / 2.0) + 4 * (y - n / 2.0) - 3 * (z - n / 2.0) > 0;
        };
        bench(
            "clip_plane_i16", "itk iterator loop (no filter)", voxels, [&] { return toImage(ct); },
            [&](auto& image) {
                parallel(image, [&](const auto& region) {
                    itk::ImageRegionIteratorWithIndex<I16> it(image, region);
                    I16::PointType p;
                    for (; !it.IsAtEnd(); ++it) {
                        image->TransformIndexToPhysicalPoint(it.GetIndex(), p);
                        if (inHalfSpace(p[0] + 0.5, p[1] + 0.5, p[2] + 0.5))
                            it.Set(-1063);
                    }
                });
            },
            [&](auto& image) {
                return compare(image, [&](int x, int y, int z) {
                    return inHalfSpace(x + 0.5, y + 0.5, z + 0.5) ? -1063 : ct[at(x, y, z)];
                });
            });
        // The box: half sizes (n/4, n/5, n/6) about the centre, turned by R.
        const auto inBox = [](double x, double y, double z) {
            const double d[3] = {x - n / 2.0, y - n / 2.0, z - n / 2.0}, h[3] = {n / 4.0, n / 5.0, n / 6.0};
            for (int k = 0; k < 3; ++k)
                if (std::abs(kR[0][k] * d[0] + kR[1][k] * d[1] + kR[2][k] * d[2]) > h[k])
                    return false;
            return true;
        };
        bench(
            "obb_u8", "itk iterator loop (no filter)", voxels, [&] { return toImage(ct8); },
            [&](auto& image) {
                parallel(image, [&](const auto& region) {
                    itk::ImageRegionIteratorWithIndex<U8> it(image, region);
                    U8::PointType p;
                    for (; !it.IsAtEnd(); ++it) {
                        image->TransformIndexToPhysicalPoint(it.GetIndex(), p);
                        if (inBox(p[0] + 0.5, p[1] + 0.5, p[2] + 0.5))
                            it.Set(1);
                    }
                });
            },
            [&](auto& image) {
                return compare(image, [&](int x, int y, int z) {
                    return inBox(x + 0.5, y + 0.5, z + 0.5) ? 1 : ct8[at(x, y, z)];
                });
            });
        bench(
            "obb_u8", "itk SpatialObjectToImage (BoxSpatialObject; draws a new mask)", voxels,
            [&] {
                auto box = itk::BoxSpatialObject<3>::New();
                itk::BoxSpatialObject<3>::SizeType size;
                itk::BoxSpatialObject<3>::PointType corner;
                const double h[3] = {n / 4.0, n / 5.0, n / 6.0};
                auto t = itk::BoxSpatialObject<3>::TransformType::New();
                itk::BoxSpatialObject<3>::TransformType::MatrixType m;
                itk::BoxSpatialObject<3>::TransformType::OutputVectorType o;
                for (int k = 0; k < 3; ++k) {
                    size[k] = 2 * h[k];
                    corner[k] = -h[k];
                    o[k] = n / 2.0 - 0.5;
                    for (int c = 0; c < 3; ++c)
                        m[k][c] = kR[k][c];
                }
                t->SetMatrix(m);
                t->SetOffset(o);
                box->SetSizeInObjectSpace(size);
                box->SetPositionInObjectSpace(corner);
                box->SetObjectToParentTransform(t);
                box->Update();
                auto f = itk::SpatialObjectToImageFilter<itk::SpatialObject<3>, U8>::New();
                f->SetInput(box);
                U8::SizeType s;
                s.Fill(n);
                f->SetSize(s);
                f->SetInsideValue(1);
                f->SetOutsideValue(0);
                return f;
            },
            update,
            [&](auto& f) {
                return compare(f->GetOutput(),
                               [&](int x, int y, int z) { return inBox(x + 0.5, y + 0.5, z + 0.5) ? 1 : 0; });
            });
    }
    {
        const long w = n + n / 4, h = n + n / 8;
        auto A = toImage(ctF), B = toImage(ctFB);
        const float high =
            std::max(*std::max_element(ctF.begin(), ctF.end()), *std::max_element(ctFB.begin(), ctFB.end()));
        bench(
            "merge_f32", "itk iterator loop (no filter)", double(w) * h * n, [&] { return F32::New(); },
            [&](auto& out) {
                out = allocate<float>({w, h, n});
                out->FillBuffer(high);
                const auto paste = [&](const Ptr<float>& in, long dx, long dy) {
                    parallel(in, [&](const auto& region) {
                        auto target = region;
                        target.SetIndex(0, region.GetIndex(0) + dx);
                        target.SetIndex(1, region.GetIndex(1) + dy);
                        itk::ImageRegionConstIterator<F32> from(in, region);
                        itk::ImageRegionIterator<F32> to(out, target);
                        for (; !from.IsAtEnd(); ++from, ++to)
                            if (from.Get() < to.Get())
                                to.Set(from.Get());
                    });
                };
                paste(A, 0, 0);
                paste(B, n / 4, n / 8);
            },
            [&](auto& out) {
                return compare(out, [&](int x, int y, int z) {
                    float v = std::min(high, ctF[at(x, y, z)]);
                    if (x >= n / 4 && y >= n / 8)
                        v = std::min(v, ctFB[at(x - n / 4, y - n / 8, z)]);
                    return v;
                });
            });
    }
    return 0;
}
