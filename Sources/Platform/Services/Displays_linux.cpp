#include "Platform/Services/Displays.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QRegularExpression>
#include <QtCore/QtEndian>
#include <QtGui/QGuiApplication>
#include <QtGui/QOffscreenSurface>
#include <QtGui/QOpenGLContext>
#include <QtGui/QOpenGLFunctions>
#include <QtGui/QScreen>

namespace KVBase
{

template class Service<Displays>;

Displays::~Displays() = default;

namespace
{

constexpr std::int32_t kNoSuchThing = 10010;

/// Swallows what Qt would write to the terminal while OpenGL is tried.
class QuietToolkit {
public:
    QuietToolkit()
        : previous(qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {}))
    {}
    ~QuietToolkit() { qInstallMessageHandler(previous); }
    QuietToolkit(const QuietToolkit &) = delete;
    QuietToolkit &operator=(const QuietToolkit &) = delete;

private:
    QtMessageHandler previous;
};

void quietDriver(const char *variable, const char *value)
{
    if (!qEnvironmentVariableIsSet(variable))
        qputenv(variable, value);
}

/// The name of the renderer that OpenGL offers on a screen; empty when there is none.
QByteArray rendererOn(QScreen *screen)
{
    quietDriver("EGL_LOG_LEVEL", "fatal");
    quietDriver("LIBGL_DEBUG", "quiet");
    const QuietToolkit quiet;
    QOpenGLContext context;
    context.setScreen(screen);
    if (!context.create())
        return {};
    QOffscreenSurface surface(screen);
    surface.setFormat(context.format());
    surface.create();
    if (!surface.isValid() || !context.makeCurrent(&surface))
        return {};
    const QByteArray name(reinterpret_cast<const char *>(context.functions()->glGetString(GL_RENDERER)));
    context.doneCurrent();
    return name;
}

bool drawsInSoftware(const QByteArray &renderer)
{
    const QByteArray name = renderer.toLower();
    for (const char *software : {"llvmpipe", "softpipe", "swrast", "software", "swiftshader"})
        if (name.contains(software))
            return true;
    return false;
}

/// "HDMI-A-1" and "HDMI-1" are one connector to the kernel and to the display server.
QString connectorKey(const QString &name)
{
    static const QRegularExpression kind(QStringLiteral("-[A-Z](?=-)"));
    return QString(name).remove(kind).toUpper();
}

/// What the monitor says of itself, at least 128 bytes; empty when the kernel does not know.
QByteArray descriptionOf(const QScreen &screen)
{
    static const QRegularExpression card(QStringLiteral("^card\\d+-"));
    const QDir connectors(QStringLiteral("/sys/class/drm"));
    for (const QString &entry : connectors.entryList({QStringLiteral("card*-*")}, QDir::Dirs)) {
        if (connectorKey(QString(entry).remove(card)) != connectorKey(screen.name()))
            continue;
        QFile file(connectors.filePath(entry) + QStringLiteral("/edid"));
        if (file.open(QIODevice::ReadOnly))
            return file.readAll();
    }
    return {};
}

constexpr qsizetype kVendorOffset = 8;
constexpr qsizetype kSerialOffset = 12;
constexpr qsizetype kDescriptionSize = 128;

class ScreenDisplays final : public Displays {
public:
    std::int32_t activeDisplays(std::uint32_t capacity, std::uint32_t *displays,
                                std::uint32_t *count) override
    {
        const auto number = static_cast<std::uint32_t>(screens().size());
        for (std::uint32_t i = 0; i < std::min(capacity, number); ++i)
            displays[i] = i + 1;
        *count = capacity == 0 ? number : std::min(capacity, number);
        return 0;
    }

    bool usesOpenGLAcceleration(std::uint32_t display) override
    {
        const QByteArray name = renderer(display);
        return !name.isEmpty() && !drawsInSoftware(name);
    }

    std::uint32_t vendorNumber(std::uint32_t display) override
    {
        const QByteArray text = description(display);
        return text.size() < kDescriptionSize
                   ? 0
                   : qFromBigEndian<std::uint16_t>(text.constData() + kVendorOffset);
    }

    std::uint32_t serialNumber(std::uint32_t display) override
    {
        const QByteArray text = description(display);
        return text.size() < kDescriptionSize
                   ? 0
                   : qFromLittleEndian<std::uint32_t>(text.constData() + kSerialOffset);
    }

    std::uint32_t openGLMask(std::uint32_t display) override
    {
        return renderer(display).isEmpty() || display > 32 ? 0 : 1u << (display - 1);
    }

    std::int32_t rendererInfo(std::uint32_t mask, std::shared_ptr<void> *info) override
    {
        for (std::uint32_t display = 1; display <= 32; ++display) {
            if (mask != 1u << (display - 1))
                continue;
            *info = std::make_shared<QByteArray>(renderer(display));
            return 0;
        }
        return kNoSuchThing;
    }

    std::int32_t describeRenderer(const std::shared_ptr<void> &info, std::int32_t index,
                                  std::int32_t property, std::int32_t *value) override
    {
        const auto *name = static_cast<const QByteArray *>(info.get());
        if (name == nullptr || index != 0)
            return kNoSuchThing;
        switch (property) {
        case kCGLRPRendererCount:
        case kCGLRPFullScreen:
            *value = 1;
            return 0;
        case kCGLRPRendererID:
            *value = qChecksum(*name);
            return 0;
        case kCGLRPVideoMemory:
        case kCGLRPTextureMemory:
            // No interface tells them for every driver.
            *value = 0;
            return 0;
        default:
            return kNoSuchThing;
        }
    }

private:
    static QList<QScreen *> screens()
    {
        if (qobject_cast<QGuiApplication *>(QCoreApplication::instance()) == nullptr)
            return {};
        const QString platform = QGuiApplication::platformName();
        if (platform == QLatin1StringView("offscreen") || platform.startsWith(QLatin1StringView("minimal")))
            return {};
        return QGuiApplication::screens();
    }

    static QScreen *screen(std::uint32_t display)
    {
        return display == 0 ? nullptr : screens().value(static_cast<qsizetype>(display) - 1);
    }

    static QByteArray renderer(std::uint32_t display)
    {
        QScreen *found = screen(display);
        return found == nullptr ? QByteArray() : rendererOn(found);
    }

    static QByteArray description(std::uint32_t display)
    {
        const QScreen *found = screen(display);
        return found == nullptr ? QByteArray() : descriptionOf(*found);
    }
};

} // namespace

Displays *Displays::makeDefault() { return new ScreenDisplays; }

} // namespace KVBase
