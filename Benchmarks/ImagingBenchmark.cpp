// Pixel kernels next to their peers. Each peer takes and gives the same interleaved 32-bit pixels.
#include "Platform/Pixels/Pixels.h"
#include "Platform/Pixels/Scale.h"

#include <KVBase/KVImageUtils.h>
#include <KVBase/Platform/NSImage.h>

#include <benchmark/benchmark.h>

#ifdef KVBASE_HAS_LIBYUV
#include <libyuv.h>
#endif
#ifdef KVBASE_HAS_ZIMG
#include <zimg.h>
#endif
#ifdef KVBASE_HAS_OPENCV
#include <opencv2/imgproc.hpp>
#endif

#include <cstdlib>
#include <random>
#include <vector>

namespace
{

using namespace KVBase;
using Bytes = std::vector<std::uint8_t>;

Bytes photograph(std::size_t wide, std::size_t high)
{
    std::minstd_rand generator(1);
    Bytes pixels(wide * high * 4);
    for (std::uint8_t &value : pixels)
        value = static_cast<std::uint8_t>(generator() >> 8);
    return pixels;
}

Pixels::Rows rowsOf(Bytes &pixels, std::size_t wide, std::size_t high)
{
    return {pixels.data(), wide, high, wide * 4};
}

Pixels::ConstRows constRowsOf(const Bytes &pixels, std::size_t wide, std::size_t high)
{
    return {pixels.data(), wide, high, wide * 4};
}

constexpr std::size_t kWide = 4000;
constexpr std::size_t kHigh = 3000;

/// Arguments: source width and height, target width and height, lobes.
void scaleArguments(benchmark::internal::Benchmark *benchmark)
{
    for (const int lobes : {3, 5}) {
        benchmark->Args({4000, 3000, 1000, 750, lobes});
        benchmark->Args({4000, 3000, 266, 200, lobes});
        benchmark->Args({1000, 750, 2000, 1500, lobes});
    }
    benchmark->Unit(benchmark::kMillisecond);
}

void ScaleKVBase(benchmark::State &state)
{
    const auto sw = static_cast<std::size_t>(state.range(0)), sh = static_cast<std::size_t>(state.range(1));
    const auto tw = static_cast<std::size_t>(state.range(2)), th = static_cast<std::size_t>(state.range(3));
    const Bytes source = photograph(sw, sh);
    Bytes target(tw * th * 4);
    for (auto _ : state)
        Pixels::scale(constRowsOf(source, sw, sh), rowsOf(target, tw, th),
                      static_cast<unsigned>(state.range(4)));
}
BENCHMARK(ScaleKVBase)->Apply(scaleArguments);

#if defined(KVBASE_HAS_ZIMG) && defined(KVBASE_HAS_LIBYUV)

/// A plane of bytes whose rows are aligned as the peer wants them.
struct Plane {
    Plane(int w, int h)
        : stride((w + 63) / 64 * 64), data(static_cast<std::uint8_t *>(std::aligned_alloc(64, bytes(h))))
    {}
    ~Plane() { std::free(data); }
    Plane(const Plane &) = delete;
    std::size_t bytes(int h) const { return static_cast<std::size_t>(stride) * static_cast<std::size_t>(h); }
    int stride;
    std::uint8_t *data;
};

zimg_filter_graph *planeScaler(int sw, int sh, int tw, int th, int lobes)
{
    zimg_image_format from;
    zimg_image_format_default(&from, ZIMG_API_VERSION);
    from.width = static_cast<unsigned>(sw);
    from.height = static_cast<unsigned>(sh);
    from.pixel_type = ZIMG_PIXEL_BYTE;
    from.color_family = ZIMG_COLOR_GREY;
    from.pixel_range = ZIMG_RANGE_FULL;
    zimg_image_format to = from;
    to.width = static_cast<unsigned>(tw);
    to.height = static_cast<unsigned>(th);
    zimg_graph_builder_params parameters;
    zimg_graph_builder_params_default(&parameters, ZIMG_API_VERSION);
    parameters.resample_filter = ZIMG_RESIZE_LANCZOS;
    parameters.filter_param_a = lobes;
    parameters.cpu_type = ZIMG_CPU_AUTO_64B;
    return zimg_filter_graph_build(&from, &to, &parameters);
}

void ScaleZimg(benchmark::State &state)
{
    const int sw = static_cast<int>(state.range(0)), sh = static_cast<int>(state.range(1));
    const int tw = static_cast<int>(state.range(2)), th = static_cast<int>(state.range(3));
    const Bytes source = photograph(static_cast<std::size_t>(sw), static_cast<std::size_t>(sh));
    Bytes target(static_cast<std::size_t>(tw) * static_cast<std::size_t>(th) * 4);
    Plane sr(sw, sh), sg(sw, sh), sb(sw, sh), sa(sw, sh), tr(tw, th), tg(tw, th), tb(tw, th), ta(tw, th);
    zimg_filter_graph *graph = planeScaler(sw, sh, tw, th, static_cast<int>(state.range(4)));
    std::size_t size = 0;
    zimg_filter_graph_get_tmp_size(graph, &size);
    void *scratch = std::aligned_alloc(64, (size + 63) / 64 * 64);
    const auto scalePlane = [&](const Plane &from, Plane &to) {
        zimg_image_buffer_const in{};
        in.version = ZIMG_API_VERSION;
        in.plane[0] = {from.data, from.stride, ZIMG_BUFFER_MAX};
        zimg_image_buffer out{};
        out.version = ZIMG_API_VERSION;
        out.plane[0] = {to.data, to.stride, ZIMG_BUFFER_MAX};
        zimg_filter_graph_process(graph, &in, &out, scratch, nullptr, nullptr, nullptr, nullptr);
    };
    for (auto _ : state) {
        libyuv::SplitARGBPlane(source.data(), sw * 4, sr.data, sr.stride, sg.data, sg.stride, sb.data,
                               sb.stride, sa.data, sa.stride, sw, sh);
        scalePlane(sr, tr);
        scalePlane(sg, tg);
        scalePlane(sb, tb);
        scalePlane(sa, ta);
        libyuv::MergeARGBPlane(tr.data, tr.stride, tg.data, tg.stride, tb.data, tb.stride, ta.data, ta.stride,
                               target.data(), tw * 4, tw, th);
    }
    std::free(scratch);
    zimg_filter_graph_free(graph);
}
BENCHMARK(ScaleZimg)->Apply(scaleArguments);

#endif

/// Runs `work` on 12 megapixels again and again.
template <class Work>
void onPhotograph(benchmark::State &state, Work work)
{
    Bytes pixels = photograph(kWide, kHigh);
    for (auto _ : state)
        work(pixels);
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(pixels.size()));
}

void TurnKVBase(benchmark::State &state)
{
    onPhotograph(state,
                 [](Bytes &p) { Pixels::turn180(constRowsOf(p, kWide, kHigh), rowsOf(p, kWide, kHigh)); });
}
BENCHMARK(TurnKVBase)->Unit(benchmark::kMillisecond);

void MirrorKVBase(benchmark::State &state)
{
    onPhotograph(state, [](Bytes &p) {
        Pixels::mirrorLeftRight(constRowsOf(p, kWide, kHigh), rowsOf(p, kWide, kHigh));
    });
}
BENCHMARK(MirrorKVBase)->Unit(benchmark::kMillisecond);

void UpsideDownKVBase(benchmark::State &state)
{
    onPhotograph(state, [](Bytes &p) {
        Pixels::mirrorTopBottom(constRowsOf(p, kWide, kHigh), rowsOf(p, kWide, kHigh));
    });
}
BENCHMARK(UpsideDownKVBase)->Unit(benchmark::kMillisecond);

void AlphaFirstKVBase(benchmark::State &state)
{
    onPhotograph(state, [](Bytes &p) { Pixels::lastByteToFront(rowsOf(p, kWide, kHigh)); });
}
BENCHMARK(AlphaFirstKVBase)->Unit(benchmark::kMillisecond);

void ColourFillKVBase(benchmark::State &state)
{
    onPhotograph(state, [](Bytes &p) { Pixels::fillPixel(rowsOf(p, kWide, kHigh), {1, 2, 3, 4}); });
}
BENCHMARK(ColourFillKVBase)->Unit(benchmark::kMillisecond);

void AlphaFillKVBase(benchmark::State &state)
{
    onPhotograph(state, [](Bytes &p) { Pixels::fillByte(rowsOf(p, kWide, kHigh), 3, 200); });
}
BENCHMARK(AlphaFillKVBase)->Unit(benchmark::kMillisecond);

void StraightKVBase(benchmark::State &state)
{
    Bytes straight(kWide * kHigh * 4);
    onPhotograph(state, [&](Bytes &p) {
        Pixels::straightFromPremultiplied(constRowsOf(p, kWide, kHigh), straight.data(), false);
    });
}
BENCHMARK(StraightKVBase)->Unit(benchmark::kMillisecond);

void ScaleAndCropKVBase(benchmark::State &state)
{
    const Bytes pixels = photograph(kWide, kHigh);
    const QImage picture(pixels.data(), kWide, kHigh, QImage::Format_RGBA8888_Premultiplied);
    const Ref<NSImage> image = NSImage::create(picture);
    for (auto _ : state)
        benchmark::DoNotOptimize(KVImageUtils::scaleAndCropImage(image, {1000, 600}, true));
}
BENCHMARK(ScaleAndCropKVBase)->Unit(benchmark::kMillisecond);

#ifdef KVBASE_HAS_LIBYUV

constexpr int kStride = kWide * 4;

void TurnLibyuv(benchmark::State &state)
{
    Bytes turned(kWide * kHigh * 4);
    onPhotograph(state, [&](Bytes &p) {
        libyuv::ARGBRotate(p.data(), kStride, turned.data(), kStride, kWide, kHigh, libyuv::kRotate180);
    });
}
BENCHMARK(TurnLibyuv)->Unit(benchmark::kMillisecond);

void MirrorLibyuv(benchmark::State &state)
{
    Bytes mirrored(kWide * kHigh * 4);
    onPhotograph(state, [&](Bytes &p) {
        libyuv::ARGBMirror(p.data(), kStride, mirrored.data(), kStride, kWide, kHigh);
    });
}
BENCHMARK(MirrorLibyuv)->Unit(benchmark::kMillisecond);

void AlphaFirstLibyuv(benchmark::State &state)
{
    onPhotograph(state,
                 [](Bytes &p) { libyuv::ARGBToRGBA(p.data(), kStride, p.data(), kStride, kWide, kHigh); });
}
BENCHMARK(AlphaFirstLibyuv)->Unit(benchmark::kMillisecond);

void ColourFillLibyuv(benchmark::State &state)
{
    onPhotograph(state,
                 [](Bytes &p) { libyuv::ARGBRect(p.data(), kStride, 0, 0, kWide, kHigh, 0x04030201); });
}
BENCHMARK(ColourFillLibyuv)->Unit(benchmark::kMillisecond);

void StraightLibyuv(benchmark::State &state)
{
    Bytes straight(kWide * kHigh * 4);
    onPhotograph(state, [&](Bytes &p) {
        libyuv::ARGBUnattenuate(p.data(), kStride, straight.data(), kStride, kWide, kHigh);
    });
}
BENCHMARK(StraightLibyuv)->Unit(benchmark::kMillisecond);

#endif

#ifdef KVBASE_HAS_OPENCV

void flipWithOpenCV(benchmark::State &state, int code)
{
    onPhotograph(state, [code](Bytes &p) {
        cv::Mat picture(kHigh, kWide, CV_8UC4, p.data());
        cv::flip(picture, picture, code);
    });
}

void MirrorOpenCV(benchmark::State &state) { flipWithOpenCV(state, 1); }
BENCHMARK(MirrorOpenCV)->Unit(benchmark::kMillisecond);

void UpsideDownOpenCV(benchmark::State &state) { flipWithOpenCV(state, 0); }
BENCHMARK(UpsideDownOpenCV)->Unit(benchmark::kMillisecond);

#endif

} // namespace
