#include "Platform/Services/HardwareProfile.h"

#include "Platform/Profile/ProfileText.h"
#include "Platform/Profile/Sections.h"

namespace KVBase
{

template class Service<HardwareProfile>;

HardwareProfile::~HardwareProfile() = default;

namespace
{

class LinuxHardwareProfile final : public HardwareProfile {
public:
    bool sections(QVariantList *profile) override { return Profile::collect(QString(), profile); }
    QString text(const QVariantList &sections) override { return Profile::profileText(sections); }
};

} // namespace

HardwareProfile *HardwareProfile::makeDefault() { return new LinuxHardwareProfile; }

} // namespace KVBase
