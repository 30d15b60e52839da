#include "edit/ContactEdit.h"

#include "base/Session.h"
#include "base/TextEditor.h"
#include "cards/StoredCard.h"
#include "cards/VCard.h"
#include "directory/TextLines.h"
#include "intake/CardReader.h"
#include "pab/PABContact.h"
#include "platform/Ascii.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string_view>
#include <vector>

#include <unistd.h>

namespace
{

// The lines that each save writes anew are not the user's to edit.
std::string WithoutCounters(const std::string& card)
{
    std::string text;
    for (std::size_t begin = 0; begin < card.size();) {
        const std::size_t end = std::min(card.find('\n', begin), card.size() - 1) + 1;
        CVCardLine line;
        const std::string_view one = std::string_view(card).substr(begin, end - begin);
        if (!ReadVCardLine(one, &line) || (line.name != "REV" && line.name != kWriteCounter)) {
            text += one;
        }
        begin = end;
    }
    return text;
}

class CEdit
{
public:
    CEdit(CSession& session, const std::string& id) : m_session(session), m_id(id) {}

    bool Run()
    {
        if (!Begin()) {
            return false;
        }
        std::string text;
        std::string fault;
        do {
            if (!EditOnce(&text)) {
                return false;
            }
            if (text == m_original) {
                m_session.Report().Note(What(), "nothing was changed");
                return true;
            }
            fault = FindFault(text);
        } while (!fault.empty() && AsksAgain(fault));
        return fault.empty() ? Save(text) : m_session.Report().Refusal(What(), fault) || KeepText();
    }

private:
    std::string What() const { return "edit " + m_id; }

    bool Begin()
    {
        const std::unique_ptr<CContact> contact = m_session.OpenContact("edit", m_id);
        if (contact == nullptr || !ReadText(*contact, &m_original)) {
            return false;
        }
        const std::string name = contact->GetId().ToString() + ".vcf";
        return Try([&] { return m_editor.Create(name, m_original); }) ||
               m_session.Report().Failure(What() + ": temporary file");
    }

    bool ReadText(CContact& contact, std::string* text)
    {
        std::u16string card;
        if (!Try([&] { return contact.ToString(&card); })) {
            return m_session.Report().Failure(What());
        }
        *text = WithoutCounters(UnfoldCard(ToUtf8(card)));
        return true;
    }

    // What the user makes of the text. Line ends and folds do not count as a change.
    bool EditOnce(std::string* text)
    {
        std::string fault;
        const bool isEdited = m_editor.Run(&fault);
        std::string read;
        if (!Try([&] { return m_editor.Read(&read); })) {
            m_editor.Keep();
            return m_session.Report().Failure(What() + ": " + m_editor.Path());
        }
        *text = WithoutCounters(UnfoldCard(read));
        if (isEdited) {
            return true;
        }
        m_session.Report().Refusal(What(), fault + "; nothing was changed");
        return *text != m_original && KeepText();
    }

    // Why the library would not take the text, or not all of it; empty if it does.
    std::string FindFault(const std::string& text) const
    {
        CPABContact card;
        if (!Try([&] { return card.FromString(text); })) {
            switch (GetLastError()) {
            case ERROR_INVALID_DATA:
                return "it has to begin with BEGIN:VCARD and to end with END:VCARD";
            case ERROR_INVALID_PARAMETER:
                return "VERSION has to be 3.0, and PROFILE, if there is one, VCARD";
            default:
                return std::string(LastErrorText(GetLastError()));
            }
        }
        // What was there before is no fault of this text.
        const std::vector<std::string> old = FindForeignLines(m_original);
        for (const std::string& line : FindForeignLines(text)) {
            if (std::ranges::find(old, line) == old.end()) {
                return "this line cannot be read: " + line;
            }
        }
        const CTextLines lines{text};
        const auto isBegin = [](std::string_view line) {
            return EqualIgnoringCase(line, "BEGIN:VCARD");
        };
        return std::ranges::count_if(lines.Lines(), isBegin) > 1 ? "there is more than one card"
                                                                 : "";
    }

    bool AsksAgain(const std::string& fault)
    {
        if (isatty(STDIN_FILENO) == 0 || isatty(STDERR_FILENO) == 0) {
            return false;
        }
        m_session.Report().Note(What(), fault);
        std::fputs("Edit again? [Y/n] ", stderr);
        const int answer = std::fgetc(stdin);
        for (int rest = answer; rest != '\n' && rest != EOF;) {
            rest = std::fgetc(stdin);
        }
        return answer != EOF && answer != 'n' && answer != 'N';
    }

    bool Save(const std::string& text)
    {
        const std::unique_ptr<CContact> contact = m_session.OpenContact("edit", m_id);
        std::string now;
        if (contact == nullptr || !ReadText(*contact, &now)) {
            return KeepText();
        }
        if (now != m_original) {
            m_session.Report().Refusal(What(), "somebody changed the contact meanwhile");
            return KeepText();
        }
        std::uint32_t counter = 0;
        contact->GetProperty(CContactProperty("WssVersion"), &counter);
        const bool isSaved = Try([&] {
            return ReplaceCard(*contact, text) &&
                   contact->SetProperty(CContactProperty("WssVersion"),
                                        ToWide(std::to_string(counter), "counter")) &&
                   contact->Save();
        });
        return isSaved || m_session.Report().Failure(What()) || KeepText();
    }

    // Nothing that was typed is lost.
    bool KeepText()
    {
        m_editor.Keep();
        return m_session.Report().Refusal(What(), "the text is kept in " + m_editor.Path());
    }

    CSession& m_session;
    const std::string m_id;
    CTextEditor m_editor;
    std::string m_original;
};

} // namespace

bool EditContact(CSession& session, const std::string& id)
{
    if (!session.IsOfAddressBook("edit", id) || !session.OpenContacts(CSession::EAccess::kWrite)) {
        return false;
    }
    CContactMgr::FlushEachChange();
    return CEdit(session, id).Run();
}
