#include "Platform/DrawingRecorder.h"

#include <QtCore/QtMath>
#include <QtGui/QPainter>
#include <QtGui/QPainterPath>
#include <QtGui/QPixmap>

#include <algorithm>
#include <cmath>

namespace KVBase
{

namespace
{

/// Smoothing and rounding reach this far beyond a shape, in pixels.
constexpr qreal kMargin = 2;

/// How far a pen of this kind reaches beyond the outline, in the painter's units.
qreal penReach(const QPen &pen)
{
    if (pen.style() == Qt::NoPen || pen.isCosmetic())
        return 0;
    const qreal corner = pen.joinStyle() == Qt::MiterJoin || pen.joinStyle() == Qt::SvgMiterJoin
                             ? std::max<qreal>(1, pen.miterLimit())
                             : 1;
    return pen.widthF() * std::max(corner, M_SQRT2);
}

} // namespace

/// Turns every call of a painter into a step that can be repeated on another painter.
class DrawingRecorder::Engine : public QPaintEngine {
public:
    using Step = std::function<void(QPainter &, const QTransform &base)>;

    explicit Engine(QSize given) : QPaintEngine(AllFeatures), surface(given) {}

    bool begin(QPaintDevice *) override { return true; }
    bool end() override { return true; }
    Type type() const override { return User; }

    void updateState(const QPaintEngineState &changed) override;

    void drawPath(const QPainterPath &path) override
    {
        draw(path.boundingRect(), [path](QPainter &painter) { painter.drawPath(path); });
    }

    void drawPolygon(const QPointF *points, int count, PolygonDrawMode mode) override
    {
        const QPolygonF polygon(QList<QPointF>(points, points + count));
        draw(polygon.boundingRect(), [polygon, mode](QPainter &painter) {
            if (mode == PolylineMode)
                painter.drawPolyline(polygon);
            else
                painter.drawPolygon(polygon, mode == WindingMode ? Qt::WindingFill : Qt::OddEvenFill);
        });
    }

    void drawPolygon(const QPoint *points, int count, PolygonDrawMode mode) override
    {
        QPaintEngine::drawPolygon(points, count, mode);
    }

    void drawRects(const QRectF *rects, int count) override
    {
        for (int i = 0; i < count; ++i)
            draw(rects[i], [rect = rects[i]](QPainter &painter) { painter.drawRect(rect); });
    }

    void drawRects(const QRect *rects, int count) override
    {
        for (int i = 0; i < count; ++i) {
            const QRectF rect(rects[i]);
            drawRects(&rect, 1);
        }
    }

    void drawLines(const QLineF *lines, int count) override
    {
        for (int i = 0; i < count; ++i) {
            const QLineF line = lines[i];
            draw(QRectF(line.p1(), line.p2()).normalized(),
                 [line](QPainter &painter) { painter.drawLine(line); });
        }
    }

    void drawLines(const QLine *lines, int count) override
    {
        for (int i = 0; i < count; ++i) {
            const QLineF line(lines[i]);
            drawLines(&line, 1);
        }
    }

    void drawEllipse(const QRectF &rect) override
    {
        draw(rect, [rect](QPainter &painter) { painter.drawEllipse(rect); });
    }

    void drawEllipse(const QRect &rect) override { drawEllipse(QRectF(rect)); }

    void drawPoints(const QPointF *points, int count) override
    {
        for (int i = 0; i < count; ++i)
            draw(QRectF(points[i], QSizeF(0, 0)),
                 [point = points[i]](QPainter &painter) { painter.drawPoint(point); });
    }

    void drawPoints(const QPoint *points, int count) override { QPaintEngine::drawPoints(points, count); }

    void drawPixmap(const QRectF &target, const QPixmap &pixmap, const QRectF &source) override
    {
        drawImage(target, pixmap.toImage(), source, Qt::AutoColor);
    }

    void drawImage(const QRectF &target, const QImage &image, const QRectF &source,
                   Qt::ImageConversionFlags flags) override
    {
        draw(target, [target, image, source, flags](QPainter &painter) {
            painter.save();
            painter.translate(0, target.top() + target.bottom());
            painter.scale(1, -1);
            painter.drawImage(target, image, source, flags);
            painter.restore();
        });
    }

    void drawTiledPixmap(const QRectF &target, const QPixmap &pixmap, const QPointF &offset) override
    {
        draw(target, [target, pixmap, offset](QPainter &painter) {
            painter.save();
            painter.translate(0, target.top() + target.bottom());
            painter.scale(1, -1);
            painter.drawTiledPixmap(target, pixmap, offset);
            painter.restore();
        });
    }

    void drawTextItem(const QPointF &position, const QTextItem &item) override
    {
        const qreal height = item.ascent() + item.descent();
        // A glyph may lean out of its box; one line height on every side covers it.
        const QRectF reach(position.x() - height, position.y() - 2 * height, item.width() + 2 * height,
                           4 * height);
        draw(reach, [position, text = item.text(), font = item.font()](QPainter &painter) {
            painter.save();
            painter.translate(position);
            painter.scale(1, -1);
            painter.setFont(font);
            painter.drawText(QPointF(0, 0), text);
            painter.restore();
        });
    }

    QTransform toSurface() const { return QTransform(1, 0, 0, -1, 0, surface.height()); }

    QSize surface;
    QRectF reached;
    struct Entry {
        Step run;
        bool isState;
    };
    std::vector<Entry> entries;

private:
    template <class Draw>
    void draw(const QRectF &shape, Draw call)
    {
        const qreal reach = penReach(state->pen());
        const qreal cosmetic = state->pen().isCosmetic() ? state->pen().widthF() * 2 : 0;
        const qreal margin = kMargin + cosmetic;
        const QRectF area = (state->transform() * toSurface())
                                .mapRect(shape.adjusted(-reach, -reach, reach, reach))
                                .adjusted(-margin, -margin, margin, margin);
        // A shape beyond every number still reaches the surface; united with it, nothing would be left to
        // compare.
        const QRectF whole(QPointF(0, 0), QSizeF(surface));
        const bool known = std::isfinite(area.x()) && std::isfinite(area.y()) &&
                           std::isfinite(area.width()) && std::isfinite(area.height());
        reached = reached.united(known ? area.intersected(whole) : whole);
        entries.push_back({[call](QPainter &painter, const QTransform &) { call(painter); }, false});
    }

    void keep(Step step) { entries.push_back({std::move(step), true}); }
    void keepClip(const QPaintEngineState &changed);
    void keepLook(const QPaintEngineState &changed);
};

void DrawingRecorder::Engine::updateState(const QPaintEngineState &changed)
{
    // The transform goes first: a clip that comes with it is meant under it.
    if (changed.state() & DirtyTransform)
        keep([transform = changed.transform()](QPainter &painter, const QTransform &base) {
            painter.setTransform(transform * base);
        });
    keepClip(changed);
    keepLook(changed);
}

void DrawingRecorder::Engine::keepClip(const QPaintEngineState &changed)
{
    if (changed.state() & DirtyClipRegion)
        keep([region = changed.clipRegion(), operation = changed.clipOperation()](
                 QPainter &painter, const QTransform &) { painter.setClipRegion(region, operation); });
    if (changed.state() & DirtyClipPath)
        keep([path = changed.clipPath(), operation = changed.clipOperation()](
                 QPainter &painter, const QTransform &) { painter.setClipPath(path, operation); });
    if (changed.state() & DirtyClipEnabled)
        keep([enabled = changed.isClipEnabled()](QPainter &painter, const QTransform &) {
            painter.setClipping(enabled);
        });
}

void DrawingRecorder::Engine::keepLook(const QPaintEngineState &changed)
{
    if (changed.state() & DirtyPen)
        keep([pen = changed.pen()](QPainter &painter, const QTransform &) { painter.setPen(pen); });
    if (changed.state() & DirtyBrush)
        keep([brush = changed.brush()](QPainter &painter, const QTransform &) { painter.setBrush(brush); });
    if (changed.state() & DirtyBrushOrigin)
        keep([origin = changed.brushOrigin()](QPainter &painter, const QTransform &) {
            painter.setBrushOrigin(origin);
        });
    if (changed.state() & (DirtyBackground | DirtyBackgroundMode))
        keep([brush = changed.backgroundBrush(), mode = changed.backgroundMode()](QPainter &painter,
                                                                                  const QTransform &) {
            painter.setBackground(brush);
            painter.setBackgroundMode(mode);
        });
    if (changed.state() & DirtyHints)
        keep([hints = changed.renderHints()](QPainter &painter, const QTransform &) {
            painter.setRenderHints(~QPainter::RenderHints(), false);
            painter.setRenderHints(hints, true);
        });
    if (changed.state() & DirtyCompositionMode)
        keep([mode = changed.compositionMode()](QPainter &painter, const QTransform &) {
            painter.setCompositionMode(mode);
        });
    if (changed.state() & DirtyOpacity)
        keep([opacity = changed.opacity()](QPainter &painter, const QTransform &) {
            painter.setOpacity(opacity);
        });
}

DrawingRecorder::DrawingRecorder(QSize given) : size(given), engine(std::make_unique<Engine>(given)) {}

DrawingRecorder::~DrawingRecorder() = default;

QPaintEngine *DrawingRecorder::paintEngine() const { return engine.get(); }

QRect DrawingRecorder::bounds() const
{
    return engine->reached.toAlignedRect().intersected(QRect(QPoint(0, 0), size));
}

void DrawingRecorder::replay(QPainter &painter, QPoint origin) const
{
    const QTransform base = engine->toSurface() * QTransform::fromTranslate(-origin.x(), -origin.y());
    painter.setTransform(base);
    for (const Engine::Entry &entry : engine->entries)
        entry.run(painter, base);
}

void DrawingRecorder::forgetDrawing()
{
    std::erase_if(engine->entries, [](const Engine::Entry &entry) { return !entry.isState; });
    engine->reached = QRectF();
}

int DrawingRecorder::metric(PaintDeviceMetric metric) const
{
    constexpr int kDotsPerInch = 72;
    constexpr qreal kMillimetresPerInch = 25.4;
    switch (metric) {
    case PdmWidth:
        return size.width();
    case PdmHeight:
        return size.height();
    case PdmWidthMM:
        return qRound(size.width() * kMillimetresPerInch / kDotsPerInch);
    case PdmHeightMM:
        return qRound(size.height() * kMillimetresPerInch / kDotsPerInch);
    case PdmNumColors:
        return 1 << 24;
    case PdmDepth:
        return 32;
    case PdmDpiX:
    case PdmDpiY:
    case PdmPhysicalDpiX:
    case PdmPhysicalDpiY:
        return kDotsPerInch;
    case PdmDevicePixelRatio:
        return 1;
    case PdmDevicePixelRatioScaled:
        return qRound(devicePixelRatioFScale());
    default:
        return 0;
    }
}

} // namespace KVBase
