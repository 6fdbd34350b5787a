#include <KVBase/StExceptionSectionName.h>

#include <KVBase/UException.h>

namespace KVBase
{

StExceptionSectionName::StExceptionSectionName(const QString &name) : saved(UException::GetSectionName())
{
    UException::SetSectionName(name);
}

StExceptionSectionName::StExceptionSectionName(const char *name) : saved(UException::GetSectionName())
{
    UException::SetSectionName(name);
}

StExceptionSectionName::StExceptionSectionName(std::nullptr_t) : saved(UException::GetSectionName())
{
    UException::SetSectionName(nullptr);
}

StExceptionSectionName::~StExceptionSectionName() { UException::SetSectionName(saved); }

} // namespace KVBase
