#include "directory/EmailContentLine.h"

#include "directory/ContentLineSyntax.h"
#include "text/Rfc822Address.h"
#include "text/Utf8.h"

#include <algorithm>
#include <new>
#include <utility>

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
    // Parse would stop at a zero character and take a part of the value for its address.
    if (!AppendUtf8(value, &text) || text.find('\0') != text.npos) {
        return false;
    }
    CRfc822Address address;
    return ThrowForMemory(address.Parse(text.c_str())) && email->SetAddress(std::move(address));
}

std::u16string CEmailContentLine::WriteValue(const CContactEmail& email)
{
    return Utf8ToWideLossy(email.GetAddress().RawAddress());
}

void CEmailContentLine::ReadParameters(const CParameters& parameters, CContactEmail* email)
{
    CEntryContentLine::ReadParameters(parameters, email);
    CParameterValues* comment = nullptr;
    if (parameters.Lookup(kCommentName, comment) && !comment->IsEmpty()) {
        SetComment(comment->GetHead(), email);
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

void CEmailContentLine::SetComment(std::u16string comment, CContactEmail* email)
{
    const CKeepLastError keep; // refused text is no failure
    std::replace(comment.begin(), comment.end(), u'\0', u'\uFFFD');
    ThrowForMemory(email->GetAddress().SetComment(comment.c_str()));
}

} // namespace VCardUtils
