#include "directory/NameContentLine.h"

inline namespace contactmgr_internal
{

namespace VCardUtils
{

// In the order of the components.
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
    return SetField(&CNameContentLine::m_familyName, std::move(name));
}

bool CNameContentLine::SetGivenName(std::u16string name)
{
    return SetField(&CNameContentLine::m_givenName, std::move(name));
}

bool CNameContentLine::SetAdditionalNames(std::u16string names)
{
    return SetField(&CNameContentLine::m_additionalNames, std::move(names));
}

bool CNameContentLine::SetHonorificPrefixes(std::u16string prefixes)
{
    return SetField(&CNameContentLine::m_honorificPrefixes, std::move(prefixes));
}

bool CNameContentLine::SetHonorificSuffixes(std::u16string suffixes)
{
    return SetField(&CNameContentLine::m_honorificSuffixes, std::move(suffixes));
}

bool CNameContentLine::SetMainValue(std::u16string value)
{
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
}

// Builds the new value first, since memory may be exhausted: then nothing has changed.
bool CNameContentLine::SetField(Field field, std::u16string text)
{
    std::u16string value;
    for (const Field each : kFields) {
        value.append(each == field ? text : this->*each).append(1, u';');
    }
    value.pop_back();
    (this->*field).swap(text);
    return CContentLine::SetMainValue(std::move(value));
}

} // namespace VCardUtils

} // namespace contactmgr_internal
