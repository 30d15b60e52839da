#include "directory/EmailContentLine.h"

#include "directory/ContentLineSyntax.h"
#include "platform/Ascii.h"
#include "text/Rfc822Address.h"
#include "text/Utf8.h"

#include <algorithm>
#include <new>
#include <utility>

inline namespace contactmgr_internal
{

using DirectoryUtils::CParameters;
using DirectoryUtils::CParameterValues;

namespace VCardUtils
{
namespace
{

constexpr char kCommentName[] = "X-COMMENT";

// For the result of an operation of CRfc822Address. These catch exhausted memory and leave
// ERROR_NOT_ENOUGH_MEMORY (8). That is no refusal of the text, so it is thrown again.
bool ThrowForMemory(bool isDone)
{
    if (!isDone && GetLastError() == ERROR_NOT_ENOUGH_MEMORY) {
        throw std::bad_alloc();
    }
    return isDone;
}

} // namespace

bool CEmailContentLine::ReadValue(const std::u16string& value, CContactEmail* email)
{
    std::string text;
    return AppendUtf8(value, &text) && ReadText(text, email);
}

bool CEmailContentLine::ReadText(std::string_view value, CContactEmail* email)
{
    // Parse would stop at a zero character and take a part of the value for its address.
    if (value.find('\0') != value.npos) {
        return false;
    }
    return ThrowForMemory(email->GetAddress().Parse(std::string(value).c_str()));
}

std::u16string CEmailContentLine::WriteValue(const CContactEmail& email)
{
    return Utf8ToWideLossy(email.GetAddress().RawAddress());
}

bool CEmailContentLine::AppendValue(const CContactEmail& email, std::string* text)
{
    AppendUtf8Lossy(email.GetAddress().RawAddress(), text);
    return true;
}

void CEmailContentLine::ReadParameters(const CParameters& parameters, CContactEmail* email)
{
    CEntryContentLine::ReadParameters(parameters, email);
    CParameterValues* comment = nullptr;
    if (parameters.Lookup(kCommentName, comment) && !comment->IsEmpty()) {
        SetComment(comment->GetHead(), email);
    }
}

void CEmailContentLine::ReadParameters(std::string_view parameters, CContactEmail* email)
{
    CEntryContentLine::ReadParameters(parameters, email);
    DirectoryUtils::CParameterReader reader(parameters, 0);
    while (reader.Next()) {
        if (EqualIgnoringCase(reader.Name(), kCommentName)) {
            std::u16string comment;
            Utf8ToWide(reader.Value(), &comment);
            SetComment(std::move(comment), email);
            return;
        }
    }
}

void CEmailContentLine::WriteParameters(const CContactEmail& email, CParameters* parameters)
{
    if (email.GetAddress().HasComment()) {
        CParameterValues& values = FindOrAddValues(parameters, kCommentName);
        values.RemoveAll();
        values.AddTail(email.GetAddress().GetComment());
    }
    CEntryContentLine::WriteParameters(email, parameters);
}

void CEmailContentLine::AppendParameters(const CContactEmail& email, std::string* text)
{
    if (email.GetAddress().HasComment()) {
        text->append(1, ';').append(kCommentName).append(1, '=');
        DirectoryUtils::AppendParameterValue(email.GetAddress().GetComment(), text);
    }
    CEntryContentLine::AppendParameters(email, text);
}

void CEmailContentLine::SetComment(std::u16string comment, CContactEmail* email)
{
    const CKeepLastError keep; // refused text is no failure
    std::replace(comment.begin(), comment.end(), u'\0', u'\uFFFD');
    ThrowForMemory(email->GetAddress().SetComment(comment.c_str()));
}

} // namespace VCardUtils

} // namespace contactmgr_internal
