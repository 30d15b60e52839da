#include "core/ContactProperties.h"
#include "pab/PABContactLines.h"
#include "platform/Failure.h"
#include "text/Utf8.h"
#include "trace/DebuggingDataToString.h"
#include "trace/FunctionDebugging.h"

#include <new>
#include <optional>
#include <utility>

using DirectoryUtils::CContentLine;
using VCardUtils::CNameContentLine;

namespace
{

// A property that is a line of its own, with the type of that line.
struct LineRow
{
    CContactProperty property;
    const char* vcardType;
};

constexpr CContactProperties kNames = CContactProperties::Instance();

constexpr LineRow kLineProperties[] = {
    {kNames.FileAs, "X-FILE-AS"},
    {kNames.FullName, "FN"},
    {kNames.Nickname, "NICKNAME"},
    {kNames.Comment, "NOTE"},
    {kNames.HTMLComment, "X-ALT-NOTE"},
    {kNames.OrgUnit, "ROLE"},
    {kNames.Jobtitle, "TITLE"},
    {kNames.Organization, "ORG"},
    {kNames.URL, "URL"},
    {kNames.Manager, "AGENT"},
    {kNames.WssVersion, kWriteCounterLine},
    {kNames.WssReplicationId, "X-LARKMERE-WSSREPLICATIONID"},
};

// A property that is a component of the N line.
struct ComponentRow
{
    CContactProperty property;
    const std::u16string& (CNameContentLine::*get)() const;
    bool (CNameContentLine::*set)(std::u16string);
};

constexpr ComponentRow kNameComponents[] = {
    {kNames.Surname, &CNameContentLine::GetFamilyName, &CNameContentLine::SetFamilyName},
    {kNames.GivenName, &CNameContentLine::GetGivenName, &CNameContentLine::SetGivenName},
    {kNames.MiddleInitial, &CNameContentLine::GetAdditionalNames,
     &CNameContentLine::SetAdditionalNames},
    {kNames.Title, &CNameContentLine::GetHonorificPrefixes,
     &CNameContentLine::SetHonorificPrefixes},
    {kNames.Suffix, &CNameContentLine::GetHonorificSuffixes,
     &CNameContentLine::SetHonorificSuffixes},
};

const ComponentRow* FindComponent(const CContactProperty& property)
{
    for (const ComponentRow& row : kNameComponents) {
        if (row.property == property) {
            return &row;
        }
    }
    return nullptr;
}

// Refuses text that would break its line, and text that is no UTF-16.
bool CanBeCarried(const std::u16string& text, std::u16string_view refused)
{
    if (text.find_first_of(refused) != std::u16string::npos) {
        return Fail(ERROR_INVALID_DATA);
    }
    std::string utf8;
    return AppendUtf8(text, &utf8);
}

constexpr std::u16string_view kRefusedInLine{u"\r\0", 2};
constexpr std::u16string_view kRefusedInComponent{u"\r\n\0", 3};

} // namespace

const char* CPABContact::ToTextVCardType(const CContactProperty& property)
{
    const CFunctionDebugging scope("CPABContact::ToTextVCardType");
    for (const LineRow& row : kLineProperties) {
        if (row.property == property) {
            return row.vcardType;
        }
    }
    return nullptr;
}

bool CPABContact::GetProperty(const CContactProperty& property, std::u16string* value)
try {
    CFunctionDebugging scope("CPABContact::GetProperty");
    if (scope.DebugParameters() != 0) {
        scope.Parameters(1, "PropertyName", property.GetName());
    }
    if (value == nullptr) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    value->clear();
    if (const char* vcardType = ToTextVCardType(property)) {
        if (const CContentLine* line = FindLine(vcardType)) {
            *value = DirectoryUtils::UnescapeTextValue(line->GetMainValue());
        }
    } else {
        const ComponentRow* component = FindComponent(property);
        const CNameContentLine* name = component == nullptr ? nullptr : GetName();
        if (name == nullptr) {
            return false;
        }
        *value = (name->*component->get)();
    }
    if (scope.DebugReturnValues() != 0) {
        std::string text;
        AppendUtf8(*value, &text);
        scope.ReturnValues(1, 1, "pValue", text);
    }
    return true;
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

bool CPABContact::GetProperty(const CContactProperty& property, std::uint32_t* value)
try {
    CFunctionDebugging scope("CPABContact::GetProperty");
    if (scope.DebugParameters() != 0) {
        scope.Parameters(1, "PropertyName", property.GetName());
    }
    if (value == nullptr) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    *value = 0;
    if (!(property == kNames.WssVersion)) {
        return false;
    }
    if (const CContentLine* line = FindLine(kWriteCounterLine)) {
        *value = static_cast<std::uint32_t>(
            ToNumber(DirectoryUtils::UnescapeTextValue(line->GetMainValue())));
    }
    if (scope.DebugReturnValues() != 0) {
        scope.ReturnValues(1, 1, "pValue", CDebuggingDataToString::DwordToString(*value));
    }
    return true;
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

bool CPABContact::GetProperty(const CContactProperty& /*property*/, bool* /*value*/)
{
    return Fail(ERROR_NOT_SUPPORTED);
}

bool CPABContact::SetProperty(const CContactProperty& property, std::u16string value)
try {
    const CFunctionDebugging scope("CPABContact::SetProperty");
    // First: the contact counts as changed also where the value is refused.
    m_isDirty = true;
    if (const char* vcardType = ToTextVCardType(property)) {
        return SetLineProperty(vcardType, value);
    }
    const ComponentRow* component = FindComponent(property);
    return component != nullptr && SetComponent(component->set, value);
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

bool CPABContact::SetLineProperty(const char* vcardType, const std::u16string& value)
{
    if (value.empty()) {
        // Of several lines of that type the first goes, and the second takes its place.
        if (const POSITION position = m_lines.Find(vcardType)) {
            const std::unique_ptr<CContentLine> removed(m_lines.GetAt(position));
            m_lines.RemoveAt(position);
        }
        return true;
    }
    return CanBeCarried(value, kRefusedInLine) &&
           FindOrAddLine(vcardType).SetMainValue(DirectoryUtils::EscapeTextValue(value));
}

bool CPABContact::SetFirstName(const std::u16string& name)
try {
    const CFunctionDebugging scope("CPABContact::SetFirstName");
    m_isDirty = true;
    return SetComponent(&CNameContentLine::SetGivenName, name);
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

bool CPABContact::SetLastName(const std::u16string& name)
try {
    const CFunctionDebugging scope("CPABContact::SetLastName");
    m_isDirty = true;
    return SetComponent(&CNameContentLine::SetFamilyName, name);
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

bool CPABContact::SetComponent(bool (CNameContentLine::*set)(std::u16string),
                               const std::u16string& value)
{
    if (!CanBeCarried(value, kRefusedInComponent) || !(GetOrAddName().*set)(value)) {
        return false;
    }
    TakeNames();
    return true;
}
