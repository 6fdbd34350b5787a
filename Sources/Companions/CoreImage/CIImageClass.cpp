#include <KVBase/Platform/CoreImage.h>
#include <KVBase/Platform/NSClass.h>

#include <QtCore/QObject>

namespace
{

using Image = std::shared_ptr<KVBase::CIImage>;
using Bitmap = std::shared_ptr<KVBase::NSBitmapImageRep>;

/// The class object that a look-up of "CIImage" finds.
class CIImageClass : public QObject {
    Q_OBJECT

public:
    Q_INVOKABLE QVariant imageWithBitmapImageRep(const QVariant &rep)
    {
        return QVariant::fromValue<Image>(KVBase::CIImage::create(rep.value<Bitmap>()));
    }
};

CIImageClass classObject;
const KVBase::NSClassRegistration registration("CIImage", &classObject);

} // namespace

/// What the framework looks for to load this library; loading it registers the class.
extern "C" KV_EXPORT void kvbaseCoreImage() {}

#include "CIImageClass.moc"
