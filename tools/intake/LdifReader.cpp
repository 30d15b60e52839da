#include "intake/LdifReader.h"

#include "base/Text.h"
#include "intake/CardReader.h"
#include "platform/Ascii.h"
#include "platform/LastError.h"
#include "text/TransferEncoding.h"

#include <algorithm>
#include <array>
#include <utility>

namespace
{

// Where the attributes go. "-" is for those that say nothing about the person, or nothing that
// belongs in an address book.
constexpr std::pair<std::string_view, std::string_view> kAttributes[] = {
    {"cn", "FN"},
    {"commonname", "FN"},
    {"displayname", "FN"},
    {"givenname", "N.1"},
    {"gn", "N.1"},
    {"sn", "N.0"},
    {"surname", "N.0"},
    {"initials", "N.2"},
    {"personaltitle", "N.3"},
    {"generationqualifier", "N.4"},
    {"mozillanickname", "NICKNAME"},
    {"xmozillanickname", "NICKNAME"},
    {"mail", "EMAIL;internet"},
    {"rfc822mailbox", "EMAIL;internet"},
    {"mozillasecondemail", "EMAIL;internet"},
    {"xmozillasecondemail", "EMAIL;internet"},
    {"mailalternateaddress", "EMAIL;internet"},
    {"telephonenumber", "TEL;work,voice"},
    {"homephone", "TEL;home,voice"},
    {"hometelephonenumber", "TEL;home,voice"},
    {"mobile", "TEL;cell"},
    {"mobiletelephonenumber", "TEL;cell"},
    {"cellphone", "TEL;cell"},
    {"carphone", "TEL;car"},
    {"pager", "TEL;pager"},
    {"pagerphone", "TEL;pager"},
    {"pagertelephonenumber", "TEL;pager"},
    {"facsimiletelephonenumber", "TEL;work,fax"},
    {"fax", "TEL;work,fax"},
    {"homefacsimiletelephonenumber", "TEL;home,fax"},
    {"o", "ORG.0"},
    {"organizationname", "ORG.0"},
    {"company", "ORG.0"},
    {"ou", "ORG.1"},
    {"orgunit", "ORG.1"},
    {"organizationalunitname", "ORG.1"},
    {"department", "ORG.1"},
    {"departmentnumber", "ORG.1"},
    {"title", "TITLE"},
    {"description", "NOTE"},
    {"notes", "NOTE"},
    {"postofficebox", "ADR;work.0"},
    {"mozillaworkstreet2", "ADR;work.1"},
    {"street", "ADR;work.2"},
    {"streetaddress", "ADR;work.2"},
    {"l", "ADR;work.3"},
    {"locality", "ADR;work.3"},
    {"localityname", "ADR;work.3"},
    {"st", "ADR;work.4"},
    {"stateorprovincename", "ADR;work.4"},
    {"region", "ADR;work.4"},
    {"postalcode", "ADR;work.5"},
    {"zip", "ADR;work.5"},
    {"c", "ADR;work.6"},
    {"co", "ADR;work.6"},
    {"countryname", "ADR;work.6"},
    {"mozillahomestreet2", "ADR;home.1"},
    {"mozillahomestreet", "ADR;home.2"},
    {"homestreet", "ADR;home.2"},
    {"mozillahomelocalityname", "ADR;home.3"},
    {"mozillahomestate", "ADR;home.4"},
    {"mozillahomepostalcode", "ADR;home.5"},
    {"mozillahomecountryname", "ADR;home.6"},
    {"labeleduri", "URL"},
    {"mozillaworkurl", "URL"},
    {"workurl", "URL"},
    {"mozillahomeurl", "URL"},
    {"homeurl", "URL"},
    {"birthyear", "BDAY.0"},
    {"birthmonth", "BDAY.1"},
    {"birthday", "BDAY.2"},
    {"nsaimid", "X-AIM"},
    {"nscpaimscreenname", "X-AIM"},
    {"entryuuid", "UID"},
    {"homepostaladdress", "LABEL;home"},
    {"postaladdress", "LABEL;work"},
    {"objectclass", "-"},
    {"dn", "-"},
    {"version", "-"},
    {"changetype", "-"},
    {"userpassword", "-"},
    {"modifytimestamp", "-"},
    {"createtimestamp", "-"},
    {"creatorsname", "-"},
    {"modifiersname", "-"},
    {"entrycsn", "-"},
    {"entrydn", "-"},
    {"structuralobjectclass", "-"},
    {"subschemasubentry", "-"},
    {"hassubordinates", "-"},
    {"mozillausehtmlmail", "-"},
    {"xmozillausehtmlmail", "-"},
};

constexpr std::string_view kGroupClasses[] = {"groupofnames", "groupofuniquenames", "posixgroup"};
constexpr std::string_view kOtherClasses[] = {"organizationalunit", "organization", "dcobject",
                                              "domain"};
constexpr const char* kGroup = "a group of contacts";

// A line's attribute and its value, which follows ":" as text, "::" in base64, ":<" as a URL.
struct CAttribute
{
    std::string name; // in small letters, without options such as ";lang-de"
    std::string value;
    bool isBase64 = false;
    bool isUrl = false;
};

bool ReadAttribute(std::string_view line, CAttribute* attribute)
{
    const std::size_t colon = line.find(':');
    if (colon == line.npos || colon == 0) {
        return false;
    }
    const std::string_view name = line.substr(0, colon);
    std::string_view value = line.substr(colon + 1);
    *attribute = {LowerText(name.substr(0, name.find(';'))),
                  {},
                  value.starts_with(':'),
                  value.starts_with('<')};
    value.remove_prefix(attribute->isBase64 || attribute->isUrl ? 1 : 0);
    value.remove_prefix(std::min(value.find_first_not_of(' '), value.size()));
    attribute->value = value;
    return true;
}

void NoteClass(std::string_view value, CImportCard* card)
{
    const std::string name = LowerText(value);
    if (IsIn(kGroupClasses, name)) {
        card->notPerson = kGroup;
    } else if (IsIn(kOtherClasses, name)) {
        card->notPerson = "a part of the directory";
    }
}

} // namespace

bool CLdifReader::IsBeginning(std::string_view head)
{
    while (!head.empty()) {
        const std::size_t end = std::min(head.find_first_of("\r\n"), head.size());
        const std::string_view line = head.substr(0, end);
        if (!line.empty() && !line.starts_with('#')) {
            const std::string name = LowerText(line.substr(0, line.find(':') + 1));
            return name == "dn:" || name == "version:";
        }
        head.remove_prefix(std::min(end + 1, head.size()));
    }
    return false;
}

// A line with its continuations, which begin with a blank. An empty line is a line too.
bool CLdifReader::TakeLogicalLine(std::string* line)
{
    constexpr std::size_t kMaxBytes = CCardReader::kMaxCardBytes + 1;
    if (!m_hasNext && !m_input.TakeLine(kMaxBytes, &m_next)) {
        return false;
    }
    line->swap(m_next);
    while ((m_hasNext = m_input.TakeLine(kMaxBytes, &m_next)) && m_next.starts_with(' ')) {
        if (line->size() < kMaxBytes) {
            line->append(m_next, 1);
        }
    }
    return true;
}

void CLdifReader::AddLine(const std::string& line, CFieldCard* fields, CImportCard* card)
{
    CAttribute attribute;
    if (!ReadAttribute(line, &attribute)) {
        card->leftOut.push_back(line);
        return;
    }
    const std::string& name = attribute.name;
    if (name == "jpegphoto" && attribute.isBase64) {
        fields->AddLine({"", "PHOTO", {{"ENCODING", "b"}, {"TYPE", "JPEG"}}, attribute.value});
        return;
    }
    if (attribute.isUrl) {
        card->AddLoss(name + ", which is in another file");
        return;
    }
    const std::string value =
        DecodeUnknown(attribute.isBase64 ? DecodeBase64(attribute.value) : attribute.value, card);
    if (name == "objectclass") {
        NoteClass(value, card);
    } else if (name == "changetype" && !EqualIgnoringCase(value, "add")) {
        card->fault = "a change of an entry";
        card->faultCode = ERROR_INVALID_DATA;
    }
    const auto found =
        std::ranges::find(kAttributes, name, &std::pair<std::string_view, std::string_view>::first);
    if (found == std::end(kAttributes)) {
        fields->Add(ExtensionName("LDAP", name), value);
    } else if (found->second.starts_with("LABEL")) {
        std::string lines = value;
        std::ranges::replace(lines, '$', '\n');
        fields->Add(found->second, lines);
    } else if (found->second != "-") {
        fields->Add(found->second, value);
    }
}

// False at the end of the file. A card without a line and a fault is no entry.
bool CLdifReader::ReadRecord(CImportCard* card)
{
    *card = CImportCard();
    CFieldCard fields;
    std::string line;
    bool isThere = false;
    m_bytes = 0;
    while (TakeLogicalLine(&line) && !(line.empty() && isThere)) {
        if (line.empty() || line.starts_with('#')) {
            continue;
        }
        isThere = true;
        m_bytes += line.size() + sizeof(CVCardLine);
        if (m_bytes > CCardReader::kMaxCardBytes) {
            card->fault = "larger than 32 MB";
            card->faultCode = ERROR_FILE_TOO_LARGE;
            fields = CFieldCard();
            continue;
        }
        AddLine(line, &fields, card);
    }
    card->card = fields.Card();
    return isThere;
}

bool CLdifReader::Next(CImportCard* card)
{
    do {
        if (!ReadRecord(card)) {
            return false;
        }
    } while (card->card.empty() && card->fault.empty() && card->notPerson == nullptr);
    card->number = ++m_count;
    if (card->fault.empty()) {
        FitToStore(card);
    }
    return true;
}
