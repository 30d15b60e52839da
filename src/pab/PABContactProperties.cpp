#include "core/ContactProperties.h"
#include "directory/NameContentLine.h"
#include "pab/PABContactLines.h"
#include "platform/Failure.h"
#include "text/Utf8.h"
#include "trace/DebuggingDataToString.h"
#include "trace/FunctionDebugging.h"

#include <algorithm>
#include <limits>
#include <new>
#include <optional>
#include <utility>

inline namespace contactmgr_internal
{

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

bool IsSpace(char c)
{
    return c == ' ' || (c >= '\t' && c <= '\r');
}

} // namespace

std::int32_t ToNumber(std::string_view text)
{
    while (!text.empty() && IsSpace(text.front())) {
        text.remove_prefix(1);
    }
    const bool isNegative = text.starts_with('-');
    if (isNegative || text.starts_with('+')) {
        text.remove_prefix(1);
    }
    constexpr std::int64_t kLargest = std::numeric_limits<std::int32_t>::max();
    std::int64_t number = 0;
    for (const char c : text) {
        if (c < '0' || c > '9') {
            break;
        }
        number = std::min(number * 10 + (c - '0'), kLargest + 1);
    }
    return static_cast<std::int32_t>(isNegative ? -number : std::min(number, kLargest));
}

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
        GetText(vcardType, value);
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
    std::u16string text;
    std::string number;
    GetText(kWriteCounterLine, &text);
    AppendUtf8(text, &number);
    *value = static_cast<std::uint32_t>(ToNumber(number));
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
        m_lines.Remove(vcardType);
        return true;
    }
    std::string text;
    if (!CanBeCarried(value, kRefusedInLine) ||
        !AppendUtf8(DirectoryUtils::EscapeTextValue(value), &text)) {
        return false;
    }
    m_lines.SetValue(vcardType, text);
    return true;
}

// The text of a line; empty where there is none.
void CPABContact::GetText(const char* vcardType, std::u16string* text)
{
    const std::string_view value = m_lines.GetValue(vcardType).value_or("");
    Utf8ToWide(value, text);
    if (value.find('\\') != value.npos) {
        *text = DirectoryUtils::UnescapeTextValue(*text);
    }
}

// The first N line, whose components are taken apart once; null if there is none.
CNameContentLine* CPABContact::GetName()
{
    const CFunctionDebugging scope("CPABContact::GetName");
    if (m_name == nullptr) {
        if (const std::optional<std::string_view> value = m_lines.GetValue("N")) {
            std::u16string text;
            Utf8ToWide(*value, &text);
            m_name = Make<CNameContentLine>("", DirectoryUtils::CParameters(), std::move(text));
        }
    }
    return m_name.get();
}

bool CPABContact::SetComponent(bool (CNameContentLine::*set)(std::u16string),
                               const std::u16string& value)
{
    if (!CanBeCarried(value, kRefusedInComponent)) {
        return false;
    }
    const CNameContentLine* old = GetName();
    auto name = old == nullptr ? Make<CNameContentLine>() : Make<CNameContentLine>(*old);
    std::string text;
    if (!((*name).*set)(value) || !AppendUtf8(name->GetMainValue(), &text)) {
        return false;
    }
    m_lines.SetValue("N", text);
    m_name = std::move(name);
    return true;
}

bool CPABContact::GetFirstName(std::u16string* name)
try {
    KeepNames();
    return CContact::GetFirstName(name);
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

bool CPABContact::GetLastName(std::u16string* name)
try {
    KeepNames();
    return CContact::GetLastName(name);
} catch (const std::bad_alloc&) {
    return FailForMemory();
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

// Copies the names of the N line into the base class: both or, where memory ends, none.
void CPABContact::KeepNames()
{
    if (const CNameContentLine* name = GetName()) {
        std::u16string firstName = name->GetGivenName();
        std::u16string lastName = name->GetFamilyName();
        m_firstName = std::move(firstName);
        m_lastName = std::move(lastName);
    }
}

} // namespace contactmgr_internal
