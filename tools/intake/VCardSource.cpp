#include "intake/VCardSource.h"

#include "base/Text.h"
#include "cards/CardUri.h"
#include "cards/LineParts.h"
#include "cards/VCard4.h"
#include "cards/VCardBinary.h"
#include "intake/LooseLine.h"
#include "platform/Ascii.h"
#include "platform/LastError.h"
#include "text/Utf8.h"

#include <algorithm>
#include <utility>

namespace
{

constexpr int kMaxAgentDepth = 8;
constexpr std::string_view kCardBegin = "BEGIN:VCARD";
constexpr std::string_view kCardEnd = "END:VCARD";

// Lines of text; each escape that vCard 2.1 programs write means what it does in vCard 3.0.
constexpr std::string_view kTextLines[] = {"FN",        "NOTE",      "TITLE", "ROLE",
                                           "LABEL",     "MAILER",    "AGENT", "SORT-STRING",
                                           "X-FILE-AS", "X-ALT-NOTE"};
constexpr std::string_view kPartsLines[] = {"N", "ADR", "ORG"};

bool IsBorder(std::string_view line, std::string_view border)
{
    return EqualIgnoringCase(Trimmed(line), border);
}

// A line off the front of a text of lines.
std::string_view TakeLine(std::string_view* text)
{
    const std::size_t end = std::min(text->find('\n'), text->size());
    const std::string_view line = text->substr(0, end);
    text->remove_prefix(std::min(end + 1, text->size()));
    return line;
}

// Takes a card that begins here, with its END line.
std::string_view TakeCard(std::string_view* text)
{
    const std::string_view begin = *text;
    int depth = 0;
    do {
        const std::string_view line = TakeLine(text);
        depth += IsBorder(line, kCardBegin) ? 1 : IsBorder(line, kCardEnd) ? -1 : 0;
    } while (depth > 0 && !text->empty());
    return begin.substr(0, begin.size() - text->size());
}

void ConvertOldValue(CVCardLine* line)
{
    if (IsIn(kTextLines, line->name)) {
        line->value = EscapeValue(LooseText(line->value));
    } else if (IsIn(kPartsLines, line->name)) {
        std::string value;
        for (const std::string& part : SplitValue(line->value, ';')) {
            value.append(EscapeValue(LooseText(part))).append(1, ';');
        }
        value.pop_back();
        line->value = value;
    }
}

// The version of a card of lines; empty without one.
std::string_view VersionOf(std::string_view text)
{
    constexpr std::string_view kName = "VERSION:";
    while (!text.empty()) {
        const std::string_view line = TakeLine(&text);
        if (EqualIgnoringCase(line.substr(0, kName.size()), kName)) {
            return Trimmed(line.substr(kName.size()));
        }
    }
    return {};
}

// The first charset other than UTF-8 that a line names; empty without one.
std::string CharsetOf(std::string_view text)
{
    while (!text.empty()) {
        CVCardLine line;
        const bool isLine = ReadLooseLine(TakeLine(&text), &line);
        const std::string_view charset = isLine ? line.Parameter("CHARSET") : std::string_view();
        if (!charset.empty() && !EqualIgnoringCase(charset, "utf-8")) {
            return std::string(charset);
        }
    }
    return {};
}

class CConversion
{
public:
    CConversion(int depth, CImportCard* card) : m_depth(depth), m_card(card) {}

    void Convert(std::string_view text)
    {
        const std::string_view version = VersionOf(text);
        if (!IsKnown(version)) {
            m_card->fault = "version " + std::string(version) + " is not supported";
            m_card->faultCode = ERROR_INVALID_PARAMETER;
            return;
        }
        m_isOld = version == "2.1" || version == "1.0";
        if (m_isOld || version == "4.0") {
            m_card->AddChange("made of vCard " + std::string(version));
        }
        if (!IsUtf8(text)) {
            m_card->charset = CharsetOf(text);
        }
        while (!text.empty()) {
            if (IsBehindAgent() && IsBorder(text.substr(0, text.find('\n')), kCardBegin)) {
                AddAgent(TakeCard(&text));
            } else {
                AddLine(TakeLine(&text));
            }
        }
        if (version == "4.0") {
            std::vector<std::string> notes;
            m_card->card = ToVersion3(m_card->card, &notes);
            for (std::string& note : notes) {
                m_card->AddLoss(std::move(note));
            }
        }
        NameAgent();
    }

private:
    static bool IsKnown(std::string_view version)
    {
        static constexpr std::string_view kKnown[] = {"", "1.0", "2.1", "3.0", "4.0"};
        return IsIn(kKnown, version);
    }

    bool IsBehindAgent() const
    {
        const CVCard& lines = m_card->card;
        return !lines.empty() && lines.back().name == "AGENT" && lines.back().value.empty();
    }

    void AddLine(std::string_view text)
    {
        if (IsBorder(text, kCardBegin) || IsBorder(text, kCardEnd)) {
            return;
        }
        CVCardLine line;
        if (!ReadLooseLine(text, &line)) {
            m_card->leftOut.emplace_back(text);
            return;
        }
        if (line.name == "VERSION") {
            return;
        }
        DecodeLine(&line, m_card);
        if (m_isOld) {
            ConvertOldValue(&line);
        }
        if (HasDataUri(line)) {
            BinaryTo3(&line);
        } else if (line.name == "GEO") {
            PositionTo3(&line.value);
        }
        if (IsGroupMark(line)) {
            m_card->notPerson = "a group of contacts";
        }
        m_card->card.push_back(std::move(line));
    }

    static bool IsGroupMark(const CVCardLine& line)
    {
        return (line.name == "KIND" || line.name == "X-ADDRESSBOOKSERVER-KIND") &&
               EqualIgnoringCase(Trimmed(line.value), "group");
    }

    void AddAgent(std::string_view text)
    {
        CImportCard agent;
        if (m_depth < kMaxAgentDepth) {
            CConversion(m_depth + 1, &agent).Convert(text);
        }
        // Each card around another one doubles its backslashes.
        std::string value = EscapeValue(WriteVCard(agent.card));
        if (agent.faultCode == ERROR_FILE_TOO_LARGE || value.size() > CCardReader::kMaxCardBytes) {
            m_card->fault = "larger than 32 MB";
            m_card->faultCode = ERROR_FILE_TOO_LARGE;
            return;
        }
        std::erase(value, '\r');
        m_card->card.back().value = std::move(value);
    }

    // The store knows the first AGENT line as the manager's name.
    void NameAgent()
    {
        CVCard& lines = m_card->card;
        const auto agent = std::ranges::find(lines, "AGENT", &CVCardLine::name);
        if (agent == lines.end() ||
            !EqualIgnoringCase(agent->value.substr(0, kCardBegin.size()), kCardBegin)) {
            return;
        }
        const std::string text = UnescapeValue(agent->value);
        const CVCard read = ReadVCard(text);
        const CVCardLine* const name = FindLine(read, "FN");
        if (name != nullptr && !name->value.empty()) {
            lines.insert(agent, {"", "AGENT", {}, name->value});
        }
    }

    int m_depth;
    bool m_isOld = false;
    CImportCard* m_card;
};

} // namespace

void ConvertCard(std::string_view text, CImportCard* card)
{
    CConversion(0, card).Convert(text);
    if (card->fault.empty()) {
        FitToStore(card);
    }
}

bool CVCardSource::IsBeginning(std::string_view head)
{
    while (!head.empty()) {
        const std::size_t end = std::min(head.find_first_of("\r\n"), head.size());
        if (IsBorder(head.substr(0, end), kCardBegin)) {
            return true;
        }
        head.remove_prefix(std::min(end + 1, head.size()));
    }
    return false;
}

bool CVCardSource::Next(CImportCard* card)
{
    CCard read;
    if (!m_reader.Next(&read)) {
        return false;
    }
    *card = CImportCard();
    card->number = read.number;
    if (read.fault != nullptr) {
        card->fault = read.fault;
        card->faultCode = read.faultCode;
        return true;
    }
    ConvertCard(read.text, card);
    return true;
}
