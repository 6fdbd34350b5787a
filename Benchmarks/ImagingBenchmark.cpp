// Pixel kernels next to their peers. Each peer takes and gives the same interleaved 32-bit pixels.
#include "Platform/Pixels/Pixels.h"
#include "Platform/Pixels/Scale.h"

#include <KVBase/KVImageUtils.h>
#include <KVBase/Platform/NSImage.h>

#include <QtCore/QThreadPool>
#include <QtGui/QImage>

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
BENCHMARK(ScaleKVBase)->Name("Scale/KVBase")->Apply(scaleArguments);

/// Averages areas when it shrinks, and mixes two pixels each way when it grows: less work for less quality.
void ScaleQt(benchmark::State &state)
{
    const int sw = static_cast<int>(state.range(0)), sh = static_cast<int>(state.range(1));
    const Bytes source = photograph(static_cast<std::size_t>(sw), static_cast<std::size_t>(sh));
    const QImage picture(source.data(), sw, sh, QImage::Format_RGBA8888_Premultiplied);
    const QSize size(static_cast<int>(state.range(2)), static_cast<int>(state.range(3)));
    const auto work = [&] {
        for (auto _ : state)
            benchmark::DoNotOptimize(picture.scaled(size, Qt::IgnoreAspectRatio, Qt::SmoothTransformation));
    };
    // On a thread of its pool the toolkit takes no others to help.
    QThreadPool::globalInstance()->start(work);
    QThreadPool::globalInstance()->waitForDone();
}
BENCHMARK(ScaleQt)->Name("Scale/Qt smooth")->Apply(scaleArguments);

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
BENCHMARK(ScaleZimg)->Name("Scale/zimg")->Apply(scaleArguments);

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
BENCHMARK(TurnKVBase)->Name("Turn/KVBase")->Unit(benchmark::kMillisecond);

void MirrorKVBase(benchmark::State &state)
{
    onPhotograph(state, [](Bytes &p) {
        Pixels::mirrorLeftRight(constRowsOf(p, kWide, kHigh), rowsOf(p, kWide, kHigh));
    });
}
BENCHMARK(MirrorKVBase)->Name("Mirror/KVBase")->Unit(benchmark::kMillisecond);

void UpsideDownKVBase(benchmark::State &state)
{
    onPhotograph(state, [](Bytes &p) {
        Pixels::mirrorTopBottom(constRowsOf(p, kWide, kHigh), rowsOf(p, kWide, kHigh));
    });
}
BENCHMARK(UpsideDownKVBase)->Name("UpsideDown/KVBase")->Unit(benchmark::kMillisecond);

void AlphaFirstKVBase(benchmark::State &state)
{
    onPhotograph(state, [](Bytes &p) { Pixels::lastByteToFront(rowsOf(p, kWide, kHigh)); });
}
BENCHMARK(AlphaFirstKVBase)->Name("AlphaFirst/KVBase")->Unit(benchmark::kMillisecond);

void ColourFillKVBase(benchmark::State &state)
{
    onPhotograph(state, [](Bytes &p) { Pixels::fillPixel(rowsOf(p, kWide, kHigh), {1, 2, 3, 4}); });
}
BENCHMARK(ColourFillKVBase)->Name("ColourFill/KVBase")->Unit(benchmark::kMillisecond);

void AlphaFillKVBase(benchmark::State &state)
{
    onPhotograph(state, [](Bytes &p) { Pixels::fillByte(rowsOf(p, kWide, kHigh), 3, 200); });
}
BENCHMARK(AlphaFillKVBase)->Name("AlphaFill/KVBase")->Unit(benchmark::kMillisecond);

void StraightKVBase(benchmark::State &state)
{
    Bytes straight(kWide * kHigh * 4);
    onPhotograph(state, [&](Bytes &p) {
        Pixels::straightFromPremultiplied(constRowsOf(p, kWide, kHigh), straight.data(), false);
    });
}
BENCHMARK(StraightKVBase)->Name("Straight/KVBase")->Unit(benchmark::kMillisecond);

void AlphaFillPlain(benchmark::State &state)
{
    onPhotograph(state, [](Bytes &p) {
        for (std::size_t i = 3; i < p.size(); i += 4)
            p[i] = 200;
        benchmark::ClobberMemory();
    });
}
BENCHMARK(AlphaFillPlain)->Name("AlphaFill/plain loop")->Unit(benchmark::kMillisecond);

void StraightPlain(benchmark::State &state)
{
    Bytes straight(kWide * kHigh * 4);
    onPhotograph(state, [&](Bytes &p) {
        for (std::size_t i = 0; i < p.size(); i += 4) {
            const std::uint8_t alpha = p[i + 3];
            const float scale = alpha == 0 ? 0.0f : 255.0f / static_cast<float>(alpha);
            for (std::size_t c = 0; c < 3; ++c)
                straight[i + c] =
                    static_cast<std::uint8_t>(static_cast<int>(static_cast<float>(p[i + c]) * scale));
            straight[i + 3] = alpha;
        }
        benchmark::ClobberMemory();
    });
}
BENCHMARK(StraightPlain)->Name("Straight/plain loop")->Unit(benchmark::kMillisecond);

constexpr NSSize kCropSize{1000, 600};

/// Has pixels of its own already: an image makes its copy of a picture when they are first asked for.
Ref<NSImage> photographImage()
{
    static const Bytes pixels = photograph(kWide, kHigh);
    const Ref<NSImage> image =
        NSImage::create(QImage(pixels.data(), kWide, kHigh, QImage::Format_RGBA8888_Premultiplied));
    KVImageUtils::findBiggestBitmapImageRep(image)->bitmapData();
    return image;
}

void ScaleAndCropKVBase(benchmark::State &state)
{
    const Ref<NSImage> image = photographImage();
    for (auto _ : state)
        benchmark::DoNotOptimize(KVImageUtils::scaleAndCropImage(image, kCropSize, true));
}
BENCHMARK(ScaleAndCropKVBase)->Name("ScaleAndCrop/KVBase")->Unit(benchmark::kMillisecond);

/// The steps of the former, one by one: straight pixels with alpha first, scaling, and the capture of the
/// crop.
void ScaleAndCropStraight(benchmark::State &state)
{
    const Ref<NSImage> image = photographImage();
    for (auto _ : state)
        benchmark::DoNotOptimize(KVImageUtils::create32BitNSBitmapImageRepFromNSImage(image, true));
}
BENCHMARK(ScaleAndCropStraight)->Name("ScaleAndCrop/step: straight pixels")->Unit(benchmark::kMillisecond);

void ScaleAndCropScale(benchmark::State &state)
{
    const Ref<NSBitmapImageRep> bitmap =
        KVImageUtils::create32BitNSBitmapImageRepFromNSImage(photographImage(), true);
    for (auto _ : state)
        benchmark::DoNotOptimize(KVImageUtils::scaleBitmapRep(bitmap, {1000, 750}, true));
}
BENCHMARK(ScaleAndCropScale)->Name("ScaleAndCrop/step: scaling")->Unit(benchmark::kMillisecond);

void ScaleAndCropCapture(benchmark::State &state)
{
    const Ref<NSImage> scaled = KVImageUtils::scaleImage(photographImage(), {1000, 750});
    for (auto _ : state)
        benchmark::DoNotOptimize(KVImageUtils::cropImage(scaled, {{0, 75}, kCropSize}));
}
BENCHMARK(ScaleAndCropCapture)->Name("ScaleAndCrop/step: capture")->Unit(benchmark::kMillisecond);

#ifdef KVBASE_HAS_LIBYUV

constexpr int kStride = kWide * 4;

void TurnLibyuv(benchmark::State &state)
{
    Bytes turned(kWide * kHigh * 4);
    onPhotograph(state, [&](Bytes &p) {
        libyuv::ARGBRotate(p.data(), kStride, turned.data(), kStride, kWide, kHigh, libyuv::kRotate180);
    });
}
BENCHMARK(TurnLibyuv)->Name("Turn/libyuv")->Unit(benchmark::kMillisecond);

void MirrorLibyuv(benchmark::State &state)
{
    Bytes mirrored(kWide * kHigh * 4);
    onPhotograph(state, [&](Bytes &p) {
        libyuv::ARGBMirror(p.data(), kStride, mirrored.data(), kStride, kWide, kHigh);
    });
}
BENCHMARK(MirrorLibyuv)->Name("Mirror/libyuv")->Unit(benchmark::kMillisecond);

void AlphaFirstLibyuv(benchmark::State &state)
{
    onPhotograph(state,
                 [](Bytes &p) { libyuv::ARGBToRGBA(p.data(), kStride, p.data(), kStride, kWide, kHigh); });
}
BENCHMARK(AlphaFirstLibyuv)->Name("AlphaFirst/libyuv")->Unit(benchmark::kMillisecond);

void ColourFillLibyuv(benchmark::State &state)
{
    onPhotograph(state,
                 [](Bytes &p) { libyuv::ARGBRect(p.data(), kStride, 0, 0, kWide, kHigh, 0x04030201); });
}
BENCHMARK(ColourFillLibyuv)->Name("ColourFill/libyuv")->Unit(benchmark::kMillisecond);

void StraightLibyuv(benchmark::State &state)
{
    Bytes straight(kWide * kHigh * 4);
    onPhotograph(state, [&](Bytes &p) {
        libyuv::ARGBUnattenuate(p.data(), kStride, straight.data(), kStride, kWide, kHigh);
    });
}
BENCHMARK(StraightLibyuv)->Name("Straight/libyuv")->Unit(benchmark::kMillisecond);

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
BENCHMARK(MirrorOpenCV)->Name("Mirror/OpenCV")->Unit(benchmark::kMillisecond);

void UpsideDownOpenCV(benchmark::State &state) { flipWithOpenCV(state, 0); }
BENCHMARK(UpsideDownOpenCV)->Name("UpsideDown/OpenCV")->Unit(benchmark::kMillisecond);

#endif

} // namespace
