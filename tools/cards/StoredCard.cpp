#include "cards/StoredCard.h"

#include "directory/ContentLineSyntax.h"
#include "directory/EmailContentLine.h"
#include "directory/TextLines.h"
#include "pab/PABContact.h"
#include "platform/Ascii.h"
#include "platform/FileContent.h"
#include "platform/HeldFile.h"
#include "server/FileSystem.h"
#include "text/Utf8.h"

namespace
{

using DirectoryUtils::CLineRest;
using VCardUtils::CEmailContentLine;

CContactEmailList EmailsOf(const std::string& text)
{
    CContactEmailList emails;
    const CTextLines lines{text};
    for (const std::string_view line : lines.Lines()) {
        std::size_t position = 0;
        std::string_view group;
        std::string_view name;
        CLineRest rest;
        if (DirectoryUtils::TakeName(line, &position, &group, &name) &&
            EqualIgnoringCase(name, CEmailContentLine::kName) &&
            DirectoryUtils::TakeRest(line, position, &rest)) {
            emails.AddTail(CEmailContentLine::Read(rest));
        }
    }
    return emails;
}

bool ReadWhole(HANDLE file, std::string* text)
{
    std::uint32_t sizeHigh = 0;
    const std::uint32_t size = GetFileSize(file, &sizeHigh);
    if (sizeHigh != 0 || size > CPABContact::kMaxFileBytes) {
        SetLastError(ERROR_FILE_TOO_LARGE);
        return false;
    }
    text->resize(size);
    std::uint32_t count = 0;
    return ReadFile(file, text->data(), size, &count, nullptr) != 0 && count == size;
}

} // namespace

std::string UnfoldCard(std::string_view text)
{
    std::string unfolded;
    unfolded.reserve(text.size());
    const CTextLines lines{std::string(text)};
    for (const std::string_view line : lines.Lines()) {
        unfolded.append(IsUtf8(line) ? std::string(line) : Latin1ToUtf8(line)).append(1, '\n');
    }
    return unfolded;
}

bool ReplaceCard(CContact& contact, const std::string& text)
{
    return contact.FromString(text) && contact.SetEmails(EmailsOf(text));
}

bool CHeldCard::Hold(const std::string& file)
{
    m_file.Reset(CFileSystem::CreateFileA(file.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                          OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL,
                                          INVALID_HANDLE_VALUE));
    std::string text;
    if (!m_file.IsOpen() || !ReadWhole(m_file.Get(), &text)) {
        return false;
    }
    m_text = UnfoldCard(text);
    CPABContact card; // tells whether it is one
    const bool isCard = card.FromString(m_text);
    if (!isCard && GetLastError() != ERROR_FILE_TOO_LARGE &&
        GetLastError() != ERROR_NOT_ENOUGH_MEMORY) {
        SetLastError(ERROR_SUCCESS);
    }
    return isCard;
}

bool CHeldCard::Delete()
{
    COpenFile* const file = COpenFile::FromHandle(m_file.Get());
    return file != nullptr && file->Held()->Empty() && m_file.Close();
}
