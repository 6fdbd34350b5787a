#pragma once

#include <QtCore/QRect>
#include <QtGui/QPaintDevice>
#include <QtGui/QPaintEngine>
#include <QtGui/QTransform>

#include <functional>
#include <memory>
#include <vector>

namespace KVBase
{

/// A paint device that remembers what is drawn on it and which pixels that can reach, so that a surface in a
/// foreign layout is converted only there. Its painter's origin is at the bottom left, y growing upwards;
/// texts and images are kept upright.
class DrawingRecorder : public QPaintDevice {
public:
    explicit DrawingRecorder(QSize size);
    ~DrawingRecorder() override;

    QPaintEngine *paintEngine() const override;

    /// The pixels that the recorded drawing can reach, top row first, inside the surface.
    QRect bounds() const;

    /// Draws the recording; `painter` works on an image whose top left pixel is `origin` of the surface.
    void replay(QPainter &painter, QPoint origin) const;

    /// Forgets the drawing and keeps the painter's state, so that recording can go on.
    void forgetDrawing();

protected:
    int metric(PaintDeviceMetric metric) const override;

private:
    class Engine;
    QSize size;
    std::unique_ptr<Engine> engine;
};

} // namespace KVBase
