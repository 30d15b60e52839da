#pragma once

#include "directory/ContentLine.h"

#include <array>
#include <string>

inline namespace contactmgr_internal
{

namespace VCardUtils
{

// An "N" line (RFC 2426, 3.1.2) and its five components. A component is the text of the line as it
// stands: no escape is resolved or added. Exhausted memory throws std::bad_alloc; nothing here sets
// a last error. A value.
class CNameContentLine : public DirectoryUtils::CContentLine
{
public:
    // Five empty components and an empty main value.
    CNameContentLine();

    // The line that CContentLine::Parse took apart.
    CNameContentLine(std::string group, DirectoryUtils::CParameters parameters,
                     std::u16string value);

    const std::u16string& GetFamilyName() const { return m_familyName; }
    const std::u16string& GetGivenName() const { return m_givenName; }
    const std::u16string& GetAdditionalNames() const { return m_additionalNames; }
    const std::u16string& GetHonorificPrefixes() const { return m_honorificPrefixes; }
    const std::u16string& GetHonorificSuffixes() const { return m_honorificSuffixes; }

    // Each rebuilds the main value from the five components; until then it is the text that was
    // read. Always true. After an exception nothing has changed.
    bool SetFamilyName(std::u16string name);
    bool SetGivenName(std::u16string name);
    bool SetAdditionalNames(std::u16string names);
    bool SetHonorificPrefixes(std::u16string prefixes);
    bool SetHonorificSuffixes(std::u16string suffixes);

    // Splits the value at each ";". Fields behind the last component stay as they were. Components
    // behind the fifth stay in the main value until a setter runs.
    bool SetMainValue(std::u16string value) override;

private:
    using Field = std::u16string CNameContentLine::*;
    static const std::array<Field, 5> kFields;

    bool SetField(Field field, std::u16string text);

    std::u16string m_familyName;
    std::u16string m_givenName;
    std::u16string m_additionalNames;
    std::u16string m_honorificPrefixes;
    std::u16string m_honorificSuffixes;
};

} // namespace VCardUtils

} // namespace contactmgr_internal
