#include <KVBase/StExceptionDisplaysAlert.h>

#include <KVBase/UException.h>

namespace KVBase
{

StExceptionDisplaysAlert::StExceptionDisplaysAlert(signed char flag) : saved(UException::GetDisplaysAlert())
{
    UException::SetDisplaysAlert(flag);
}

StExceptionDisplaysAlert::~StExceptionDisplaysAlert() { UException::SetDisplaysAlert(saved); }

} // namespace KVBase
