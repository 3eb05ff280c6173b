// The other thing a user would pick for the trivial workloads: his own single-threaded loop or standard algorithm,
// compiled for the baseline CPU. Results go to the place that costs least (in place, or into memory already touched).
#include "harness.h"
#include "phantom.h"

#include <cmath>
#include <numeric>

using harness::bench;
using harness::text;

namespace {

int n = 256;
std::size_t voxels = 0;

struct Nothing {};
const auto nothing = [] { return Nothing{}; };

template <class T> std::string sumOf(const std::vector<T>& v)
{
    return text("sum %.10g", std::accumulate(v.begin(), v.end(), 0.0));
}

template <class T, class F> void inPlace(const char* name, const char* peer, const std::vector<T>& start, F f)
{
    if (harness::wanted(name))
        bench(
            name, peer, double(voxels), [&] { return start; }, f, [](auto& v) { return sumOf(v); });
}

template <class F> void scalar(const char* name, const char* peer, F f)
{
    double result = 0;
    bench(
        name, peer, double(voxels), nothing, [&](auto&) { result = f(); },
        [&](auto&) { return text("value %.10g", result); });
}

template <class T> void addition(const char* name, const std::vector<T>& a, const std::vector<T>& b)
{
    inPlace(name, "own loop a += b", a, [&](auto& v) {
        for (std::size_t i = 0; i < v.size(); ++i)
            v[i] = T(v[i] + b[i]);
    });
    if (harness::wanted(name))
        bench(
            name, "own loop into a fresh vector", double(voxels), [] { return std::vector<T>(); },
            [&](auto& v) {
                v.resize(a.size());
                for (std::size_t i = 0; i < v.size(); ++i)
                    v[i] = T(a[i] + b[i]);
            },
            [](auto& v) { return sumOf(v); });
}

template <class T> double medianByCount(const std::vector<T>& v)
{
    const int low = std::numeric_limits<T>::min(), range = int(std::numeric_limits<T>::max()) - low + 1;
    std::vector<std::uint32_t> count(range);
    for (T x : v)
        ++count[x - low];
    std::size_t seen = 0;
    int lower = 0, upper = 0;
    for (int k = 0; k < range; ++k) {
        const std::size_t next = seen + count[k];
        if (seen < v.size() / 2 && next >= v.size() / 2)
            lower = k;
        if (seen < v.size() / 2 + 1 && next >= v.size() / 2 + 1) {
            upper = k;
            break;
        }
        seen = next;
    }
    return 0.5 * (lower + upper) + low;
}

template <class T> double medianBySelection(const std::vector<T>& v)
{
    std::vector<T> c = v;
    const auto middle = c.begin() + c.size() / 2;
    std::nth_element(c.begin(), middle, c.end());
    return 0.5 * (double(*middle) + double(*std::max_element(c.begin(), middle)));
}

// Largest between-class variance over the filled bins; value(k) is the grey value of bin k.
template <class Value> double otsu(const std::vector<std::uint32_t>& count, Value value)
{
    double N = 0, S = 0, nB = 0, sB = 0, best = 0, threshold = 0;
    for (std::size_t k = 0; k < count.size(); ++k) {
        N += count[k];
        S += count[k] * value(k);
    }
    for (std::size_t k = 0; k < count.size(); ++k) {
        if (!count[k])
            continue;
        nB += count[k];
        sB += count[k] * value(k);
        if (nB == N)
            break;
        const double d = sB / nB - (S - sB) / (N - nB), s = nB * (N - nB) * d * d;
        if (s > best) {
            best = s;
            threshold = value(k);
        }
    }
    return threshold;
}

} // namespace

int main(int argc, char** argv)
{
    harness::parse(argc, argv);
    n = harness::options().edge;
    voxels = std::size_t(n) * n * n;
    const auto ct = phantom::ctInt16(n, 0), ctB = phantom::ctInt16(n, 1);
    const auto ct8 = phantom::ctUInt8(ct), ct8B = phantom::ctUInt8(ctB);
    const auto ctF = phantom::ctFloat(ct, n, 0), ctFB = phantom::ctFloat(ctB, n, 1);
    const auto parts = phantom::maskParts(ct);

    addition("add_u8", ct8, ct8B);
    addition("add_i16", ct, ctB);
    addition("add_f32", ctF, ctFB);
    inPlace("min_i16", "own loop in place", ct, [&](auto& v) {
        for (std::size_t i = 0; i < v.size(); ++i)
            v[i] = std::min(v[i], ctB[i]);
    });
    inPlace("max_f32", "own loop in place", ctF, [&](auto& v) {
        for (std::size_t i = 0; i < v.size(); ++i)
            v[i] = ctFB[i] > v[i] ? ctFB[i] : v[i];
    });
    inPlace("rescale_i16", "own loop in place (double)", ct, [&](auto& v) {
        const double scale = 255.5 / 2000.5;
        for (auto& x : v)
            x = x >= -500 && x <= 1500 ? std::int16_t((x + 500) * scale) : std::int16_t(0);
    });
    inPlace("replace_i16", "own loop in place", ct, [&](auto& v) {
        for (std::size_t i = 0; i < v.size(); ++i)
            v[i] = parts[i] == 1 ? std::int16_t(-1000) : v[i];
    });
    inPlace("replace_f32", "own loop in place", ctF, [&](auto& v) {
        for (std::size_t i = 0; i < v.size(); ++i)
            v[i] = parts[i] == 1 ? -1000.0f : v[i];
    });
    scalar("mean_u8", "std::accumulate (64-bit integer)",
           [&] { return double(std::accumulate(ct8.begin(), ct8.end(), std::uint64_t(0))) / voxels; });
    scalar("mean_i16", "std::accumulate (64-bit integer)",
           [&] { return double(std::accumulate(ct.begin(), ct.end(), std::int64_t(0))) / voxels; });
    scalar("mean_f32", "std::accumulate (double)",
           [&] { return std::accumulate(ctF.begin(), ctF.end(), 0.0) / voxels; });
    scalar("meannz_u8", "own loop (64-bit integer)", [&] {
        std::uint64_t s = 0, k = 0;
        for (auto x : ct8) {
            s += x;
            k += x != 0;
        }
        return double(s) / double(k);
    });
    scalar("median_u8", "own count table", [&] { return medianByCount(ct8); });
    scalar("median_i16", "own count table", [&] { return medianByCount(ct); });
    scalar("median_i16", "std::nth_element of a copy", [&] { return medianBySelection(ct); });
    scalar("median_f32", "std::nth_element of a copy", [&] { return medianBySelection(ctF); });
    inPlace("conv_i16_f32", "own loop", ctF, [&](auto& v) {
        for (std::size_t i = 0; i < v.size(); ++i)
            v[i] = float(ct[i]);
    });
    inPlace("conv_f32_i16", "own loop roundf", ct, [&](auto& v) {
        for (std::size_t i = 0; i < v.size(); ++i)
            v[i] = std::int16_t(std::round(ctF[i]));
    });
    scalar("otsu_i16", "own count table + search", [&] {
        std::vector<std::uint32_t> count(65536);
        for (auto x : ct)
            ++count[x + 32768];
        return otsu(count, [](std::size_t k) { return double(k) - 32768; });
    });
    scalar("otsu_f32", "own 100000 bins + search", [&] {
        const auto [lo, hi] = std::minmax_element(ctF.begin(), ctF.end());
        const float low = *lo, range = *hi - low, f = 100000.0f / (range + 1.1920929e-7f);
        std::vector<std::uint32_t> count(100001);
        for (float x : ctF)
            ++count[int((x - low) * f)];
        return otsu(count, [=](std::size_t k) { return double(float(k + 1) * (range / 100000.0f) + low); });
    });
    scalar("countnz_u8", "own loop", [&] {
        std::uint64_t k = 0;
        for (auto x : parts)
            k += x != 0;
        return double(k);
    });
    scalar("countnz_i16", "own loop", [&] {
        std::uint64_t k = 0;
        for (auto x : ct)
            k += x != 0;
        return double(k);
    });
    scalar("bbox_i16", "own loop", [&] {
        int low[3] = {n, n, n}, high[3] = {-1, -1, -1};
        const std::int16_t* p = ct.data();
        for (int z = 0; z < n; ++z)
            for (int y = 0; y < n; ++y)
                for (int x = 0; x < n; ++x)
                    if (*p++ > 300) {
                        const int c[3] = {x, y, z};
                        for (int k = 0; k < 3; ++k) {
                            low[k] = std::min(low[k], c[k]);
                            high[k] = std::max(high[k], c[k]);
                        }
                    }
        return low[0] + 1e3 * low[1] + 1e6 * low[2] + high[0] + 1e3 * high[1] + 1e6 * high[2];
    });
    scalar("masscentre_i16", "own loop", [&] {
        double s[3] = {}, count = 0;
        const std::int16_t* p = ct.data();
        for (int z = 0; z < n; ++z)
            for (int y = 0; y < n; ++y)
                for (int x = 0; x < n; ++x)
                    if (*p++ > 300) {
                        s[0] += x;
                        s[1] += y;
                        s[2] += z;
                        ++count;
                    }
        return (s[0] + s[1] + s[2]) / count;
    });
    inPlace("clip_plane_i16", "own loop in place (float)", ct, [&](auto& v) {
        std::int16_t* p = v.data();
        const float c = 0.5f - n / 2.0f;
        for (int z = 0; z < n; ++z)
            for (int y = 0; y < n; ++y) {
                const float rest = 4 * (y + c) - 3 * (z + c);
                for (int x = 0; x < n; ++x, ++p)
                    *p = 12 * (x + c) + rest > 0 ? std::int16_t(-1063) : *p;
            }
    });
    const std::size_t w = n + n / 4, h = n + n / 8;
    if (harness::wanted("merge_f32"))
        bench(
            "merge_f32", "own loop into a fresh vector (with the range scan)", double(w * h * n),
            [] { return std::vector<float>(); },
            [&](auto& out) {
                const float high = std::max(*std::max_element(ctF.begin(), ctF.end()),
                                            *std::max_element(ctFB.begin(), ctFB.end()));
                out.assign(w * h * n, high);
                const auto paste = [&](const std::vector<float>& in, std::size_t dx, std::size_t dy) {
                    for (std::size_t z = 0; z < std::size_t(n); ++z)
                        for (std::size_t y = 0; y < std::size_t(n); ++y) {
                            float* o = &out[(z * h + y + dy) * w + dx];
                            const float* p = &in[(z * n + y) * n];
                            for (int x = 0; x < n; ++x)
                                o[x] = p[x] < o[x] ? p[x] : o[x];
                        }
                };
                paste(ctF, 0, 0);
                paste(ctFB, n / 4, n / 8);
            },
            [](auto& v) { return sumOf(v); });
    std::vector<std::int16_t> image(std::size_t(n) * n);
    const auto plane = [&](const char* name, auto f) {
        bench(
            name, "own loop into touched memory", double(n) * n, nothing, [&](auto&) { f(); },
            [&](auto&) { return sumOf(image); });
    };
    plane("slice_axial_i16",
          [&] { std::memcpy(image.data(), &ct[std::size_t(n) * n * (n / 2)], image.size() * 2); });
    plane("slice_coronal_i16", [&] {
        for (int z = 0; z < n; ++z)
            std::memcpy(&image[std::size_t(z) * n], &ct[(std::size_t(z) * n + n / 2) * n],
                        std::size_t(n) * 2);
    });
    plane("slice_sagittal_i16", [&] {
        for (std::size_t i = 0; i < image.size(); ++i)
            image[i] = ct[i * n + n / 2];
    });
    return 0;
}
