#include "directory/EmailContentLine.h"

#include "directory/Refusal.h"
#include "directory/TypeParameter.h"
#include "text/Rfc822Address.h"
#include "text/Utf8.h"

#include <algorithm>
#include <new>

namespace VCardUtils
{
namespace
{

constexpr char kCommentName[] = "X-COMMENT";
constexpr char16_t kReplacement = u'\uFFFD';

} // namespace

CEmailContentLine::CEmailContentLine(const CContactEmail& email) : CContentLine("EMAIL")
{
    DirectoryUtils::BuildOrThrow([&] { return SetEmail(email); });
}

CEmailContentLine::CEmailContentLine(std::string group, DirectoryUtils::CParameters parameters,
                                     std::u16string value)
    : CContentLine(std::move(group), "EMAIL", std::move(parameters), {})
{
    m_email.SetType(ReadTypeMask(GetParameters(), kEmailTypes));
    DirectoryUtils::BuildOrThrow([&] { return CEmailContentLine::SetMainValue(std::move(value)); });
    DirectoryUtils::CParameterValues* comment = nullptr;
    if (GetParameters().Lookup(kCommentName, comment) && !comment->IsEmpty()) {
        // A zero would end the comment.
        std::u16string text = comment->GetHead();
        std::replace(text.begin(), text.end(), u'\0', kReplacement);
        DirectoryUtils::BuildOrThrow([&] { return m_email.GetAddress().SetComment(text.c_str()); });
    }
}

bool CEmailContentLine::SetEmail(const CContactEmail& email)
{
    m_email = email;
    return UpdateParameters() &&
           CContentLine::SetMainValue(Utf8ToWideLossy(m_email.GetAddress().RawAddress()));
}

bool CEmailContentLine::SetMainValue(std::u16string value)
{
    if (!CContentLine::SetMainValue(std::move(value))) {
        return false;
    }
    std::string text;
    CRfc822Address address;
    bool isAddress = false;
    DirectoryUtils::BuildOrThrow([&] {
        // Parse stops at a zero, and half of a value is not its address.
        isAddress = AppendUtf8(GetMainValue(), &text) && text.find('\0') == text.npos &&
                    address.Parse(text.c_str());
        return isAddress;
    });
    return isAddress && m_email.SetAddress(std::move(address));
}

bool CEmailContentLine::UpdateParameters()
{
    const std::u16string_view comment = m_email.GetAddress().GetComment();
    if (!comment.empty()) {
        DirectoryUtils::CParameterValues* values = Parameters().FindOrAdd(kCommentName);
        if (values == nullptr) {
            return false;
        }
        values->RemoveAll();
        values->AddTail(std::u16string(comment));
    }
    return WriteTypeMask(&Parameters(), kEmailTypes, m_email.GetType());
}

} // namespace VCardUtils
