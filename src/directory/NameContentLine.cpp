#include "directory/NameContentLine.h"

#include "platform/LastError.h"

#include <new>

namespace VCardUtils
{

const std::array<CNameContentLine::Field, 5> CNameContentLine::kFields = {
    &CNameContentLine::m_familyName, &CNameContentLine::m_givenName,
    &CNameContentLine::m_additionalNames, &CNameContentLine::m_honorificPrefixes,
    &CNameContentLine::m_honorificSuffixes};

CNameContentLine::CNameContentLine() : CContentLine("N") {}

CNameContentLine::CNameContentLine(std::string group, DirectoryUtils::CParameters parameters,
                                   std::u16string value)
    : CContentLine(std::move(group), "N", std::move(parameters), {})
{
    CNameContentLine::SetMainValue(std::move(value));
}

bool CNameContentLine::SetFamilyName(std::u16string name)
{
    m_familyName = std::move(name);
    return UpdateMainValue();
}

bool CNameContentLine::SetGivenName(std::u16string name)
{
    m_givenName = std::move(name);
    return UpdateMainValue();
}

bool CNameContentLine::SetAdditionalNames(std::u16string names)
{
    m_additionalNames = std::move(names);
    return UpdateMainValue();
}

bool CNameContentLine::SetHonorificPrefixes(std::u16string prefixes)
{
    m_honorificPrefixes = std::move(prefixes);
    return UpdateMainValue();
}

bool CNameContentLine::SetHonorificSuffixes(std::u16string suffixes)
{
    m_honorificSuffixes = std::move(suffixes);
    return UpdateMainValue();
}

bool CNameContentLine::SetMainValue(std::u16string value)
try {
    if (!CContentLine::SetMainValue(std::move(value))) {
        return false;
    }
    int position = 0;
    for (const Field field : kFields) {
        this->*field = GetTextComponent(GetMainValue(), u';', &position);
        if (position < 0) {
            break;
        }
    }
    return true;
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

bool CNameContentLine::UpdateMainValue()
try {
    std::u16string value;
    for (const Field field : kFields) {
        value.append(this->*field).append(1, u';');
    }
    value.pop_back();
    return CContentLine::SetMainValue(std::move(value));
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

} // namespace VCardUtils
