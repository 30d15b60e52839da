#include "directory/TelephoneContentLine.h"

#include "directory/Refusal.h"
#include "directory/TypeParameter.h"
#include "platform/Failure.h"
#include "text/Utf8.h"

namespace VCardUtils
{

CTelephoneContentLine::CTelephoneContentLine(const CContactTel& telephone) : CContentLine("TEL")
{
    DirectoryUtils::BuildOrThrow([&] { return SetTelephone(telephone); });
}

CTelephoneContentLine::CTelephoneContentLine(std::string group,
                                             DirectoryUtils::CParameters parameters,
                                             std::u16string value)
    : CContentLine(std::move(group), "TEL", std::move(parameters), {})
{
    m_telephone.SetType(ReadTypeMask(GetParameters(), kTelephoneTypes));
    DirectoryUtils::BuildOrThrow(
        [&] { return CTelephoneContentLine::SetMainValue(std::move(value)); });
}

bool CTelephoneContentLine::SetTelephone(const CContactTel& telephone)
{
    m_telephone = telephone;
    return UpdateTypeParameter() &&
           CContentLine::SetMainValue(Utf8ToWideLossy(m_telephone.GetNumber()));
}

bool CTelephoneContentLine::SetMainValue(std::u16string value)
{
    const std::uint32_t lastError = GetLastError();
    std::string number;
    if (!CContentLine::SetMainValue(std::move(value))) {
        return false;
    }
    if (!AppendUtf8(GetMainValue(), &number)) {
        return Fail(lastError);
    }
    return m_telephone.SetNumber(std::move(number));
}

bool CTelephoneContentLine::UpdateTypeParameter()
{
    return WriteTypeMask(&Parameters(), kTelephoneTypes, m_telephone.GetType());
}

} // namespace VCardUtils
