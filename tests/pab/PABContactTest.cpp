#include "pab/PABContact.h"

#include "core/ContactProperties.h"
#include "support/AllocationFault.h"
#include "support/ContactText.h"
#include "support/FaultySystemCalls.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <functional>

#include <time.h>

namespace
{

constexpr const char* kFirstFile = "80000000.vcf";

// A clock that stands at 2009-02-13T23:31:30Z, in another time zone.
struct CFixedClock : CPlantedCalls
{
    CFixedClock()
    {
        setenv("TZ", "UTC-7", 1);
        tzset();
    }
    int Now(struct timespec* time) override
    {
        *time = {.tv_sec = 1'234'567'890, .tv_nsec = 0};
        return 0;
    }
};

std::string NarrowTextOf(CPABContact& contact)
{
    std::u16string text;
    EXPECT_TRUE(contact.ToString(&text));
    return {text.begin(), text.end()};
}

template <class List, class Entry>
List ListOf(const Entry& entry)
{
    List list;
    list.AddTail(entry);
    return list;
}

CContactEmailList OneEmail(const char* address)
{
    CContactEmail email;
    EXPECT_TRUE(email.GetAddress().Parse(address));
    email.SetType(CContactEmail::kInternet);
    return ListOf<CContactEmailList>(email);
}

// The first contact of an address book.
struct PABContactTest : testing::Test
{
    void Make() { ASSERT_TRUE(contact.Create(folder.Path().c_str(), 1)); }
    void Open(const std::string& text)
    {
        folder.Write(kFirstFile, text);
        ASSERT_TRUE(contact.Open(folder.Path().c_str(), 1));
    }

    const CTempFolder folder;
    CPABContact contact;
};

} // namespace

TEST_F(PABContactTest, FileNamesAreReversedNumbers)
{
    for (const auto& [number, name] : {std::pair{1u, "80000000.vcf"},
                                       {3u, "c0000000.vcf"},
                                       {0x7FFFFFFEu, "7ffffffe.vcf"},
                                       {0xFFFFFFFFu, "ffffffff.vcf"}}) {
        const ContactMgr::CContactId id(CPABContact::kPluginType, number);
        EXPECT_EQ(CPABContact::ContactIdToFileName(id), name);
        EXPECT_EQ(CPABContact::FileNameToContactId(name), id);
    }
    EXPECT_EQ(CPABContact::FileNameToContactId("notes.vcf").ToNumber(), 0u);
    EXPECT_EQ(CPABContact::FileNameToContactId("8000000A.vcf").ToNumber(), 0x50000001u);
}

TEST_F(PABContactTest, ANewContactSavedOnceIsThisFile)
{
    const CFixedClock clock;
    Make();
    EXPECT_EQ(folder.Read(kFirstFile), "");
    CContactAddr address;
    address.SetType(CContactAddr::kHome | CContactAddr::kPref);
    address.SetStreet(u"1 Main St, back");
    CContactTel telephone;
    telephone.SetType(CContactTel::kVoice | CContactTel::kWork);
    telephone.SetNumber("+1 555 0100");
    CContactIM im;
    im.SetType(CContactIM::kHome);
    im.SetAddress(u"xmpp:ann@example.org");
    EXPECT_TRUE(contact.SetIMs(ListOf<CContactIMList>(im)));
    EXPECT_TRUE(contact.SetAddresses(ListOf<CContactAddrList>(address)));
    EXPECT_TRUE(contact.SetTelephones(ListOf<CContactTelList>(telephone)));
    EXPECT_TRUE(contact.SetEmails(OneEmail("Ann Lee <ann@example.org>")));
    EXPECT_TRUE(contact.SetProperty("Comment", u"two\nlines, one comma"));
    EXPECT_TRUE(contact.SetFirstName(u"Ann"));
    EXPECT_TRUE(contact.SetLastName(u"Lee"));
    EXPECT_TRUE(contact.SetProperty("FullName", u"Ann \u00e9 Lee"));
    EXPECT_TRUE(contact.Save());
    EXPECT_EQ(folder.Read(kFirstFile),
              Card("N:Lee;Ann;;;\r\n"
                   "FN:Ann \xc3\xa9 Lee\r\n"
                   "VERSION:3.0\r\n"
                   "NOTE:two\\nlines\\, one comma\r\n"
                   "REV:2009-02-13T23:31:30Z\r\n"
                   "X-LARKMERE-WSSVERSION:1\r\n"
                   "EMAIL;X-COMMENT=Ann Lee;TYPE=internet:ann@example.org\r\n"
                   "TEL;TYPE=work,voice:+1 555 0100\r\n"
                   "ADR;TYPE=home,pref:;;1 Main St\\, back;;;;\r\n"
                   "IMPP;TYPE=HOME:xmpp:ann@example.org\r\n"));
}

TEST_F(PABContactTest, ARewriteKeepsForeignLinesAndPutsTypedOnesLast)
{
    const CFixedClock clock;
    Open("begin:vcard\nEMAIL;TYPE=home,PREF:a@b.example\n\n"
         "item1.X-Thing;Foo=bar:v;a:l\rnote:a\n  b\n\tc\nBADLINE\n"
         "X-LARKMERE-WSSVERSION:41\nTEL:1\nN:Lee;Ann\nend:VCARD");
    std::u16string name;
    EXPECT_TRUE(contact.GetFirstName(&name));
    EXPECT_EQ(name, u"Ann");
    EXPECT_TRUE(contact.SetProperty("Nickname", u"Annie") && contact.Save());
    EXPECT_EQ(folder.Read(kFirstFile), Card("item1.X-THING;FOO=bar:v;a:l\r\n"
                                            "NOTE:a bc\r\n"
                                            "X-LARKMERE-WSSVERSION:42\r\n"
                                            "N:Lee;Ann\r\n"
                                            "NICKNAME:Annie\r\n"
                                            "REV:2009-02-13T23:31:30Z\r\n"
                                            "EMAIL;TYPE=pref:a@b.example\r\n"
                                            "TEL:1\r\n"));
}

TEST_F(PABContactTest, FilesThatAreNoContactAreRefusedAndStayAsTheyAre)
{
    static const struct
    {
        const char* text;
        std::uint32_t importError; // 0: accepted
    } kCases[] = {
        {"Begin:VCard\rProfile:vCard\rEnd:VCard", 0},
        {"", ERROR_INVALID_DATA},
        {"BEGIN:VCARD\r\n", ERROR_INVALID_DATA},
        {"BEGIN:VCARD \r\nEND:VCARD\r\n", ERROR_INVALID_DATA},
        {"BEGIN:VCARD\r\nEND:VCARD\r\nX:1\r\n", ERROR_INVALID_DATA},
        {"\uFEFFBEGIN:VCARD\r\nEND:VCARD\r\n", ERROR_INVALID_DATA},
        {"BEGIN:VCARD\nVERSION:3.0\nVERSION:4.0\nEND:VCARD", ERROR_INVALID_PARAMETER},
        {"BEGIN:VCARD\nPROFILE:VCARD\nPROFILE:X\nEND:VCARD", ERROR_INVALID_PARAMETER},
    };
    ASSERT_TRUE(contact.Create(folder.Path().c_str(), 2));
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.text);
        folder.Write(kFirstFile, c.text);
        SetLastError(ERROR_SUCCESS);
        EXPECT_EQ(CPABContact().Open(folder.Path().c_str(), 1), c.importError == 0);
        EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
        EXPECT_EQ(folder.Read(kFirstFile), c.text);
        ASSERT_TRUE(contact.FromString(Card("FN:Ann\r\n")) && contact.Save());
        const std::string saved = folder.Read("40000000.vcf");
        SetLastError(ERROR_SUCCESS);
        EXPECT_EQ(contact.FromString(c.text), c.importError == 0);
        EXPECT_EQ(GetLastError(), c.importError);
        const bool isRefused = c.importError == ERROR_INVALID_PARAMETER;
        EXPECT_TRUE(contact.SetProperty("Comment", u"x"));
        EXPECT_EQ(contact.Save(), !isRefused) << "what Open would refuse is not written";
        EXPECT_EQ(GetLastError(), c.importError);
        EXPECT_EQ(folder.Read("40000000.vcf") == saved, isRefused);
    }
}

TEST_F(PABContactTest, OpensFailWithTheirCode)
{
    Open(Card(""));
    std::ofstream(folder / "40000000.vcf").seekp(CPABContact::kMaxFileBytes).put('x');
    const std::string path = folder.Path();
    static const struct
    {
        const char* what;
        std::uint32_t number, code;
    } kCases[] = {
        {"no number", 0, ERROR_INVALID_PARAMETER},
        {"held by another object", 1, ERROR_SHARING_VIOLATION},
        {"too large", 2, ERROR_FILE_TOO_LARGE},
        {"never used", 3, ERROR_FILE_NOT_FOUND},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        EXPECT_FALSE(CPABContact().Open(path.c_str(), c.number));
        EXPECT_EQ(GetLastError(), c.code);
    }
    EXPECT_FALSE(CPABContact().Create(path.c_str(), 1));
    EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
    EXPECT_FALSE(CPABContact().Create((path + "/none").c_str(), 1));
    EXPECT_EQ(GetLastError(), ERROR_PATH_NOT_FOUND);
    EXPECT_FALSE(CPABContact().Delete(path.c_str(), 1)) << "held";
    EXPECT_EQ(folder.Read(kFirstFile), Card(""));
}

TEST_F(PABContactTest, PropertiesReachTheirLines)
{
    Make();
    static const struct
    {
        const char *property, *line;
    } kCases[] = {
        {"FILEAS", "X-FILE-AS:v"},
        {"FullName", "FN:v"},
        {"Comment", "NOTE:v"},
        {"Organization", "ORG:v"},
        {"WssVersion", "X-LARKMERE-WSSVERSION:v"},
        {"Surname", "N:v;;;;"},
        {"GivenName", "N:;v;;;"},
        {"Title", "N:;;;v;"},
        {"Suffix", "N:;;;;v"},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.property);
        EXPECT_EQ(TextOf(contact, c.property), u"");
        EXPECT_TRUE(contact.SetProperty(c.property, u"v"));
        EXPECT_EQ(TextOf(contact, c.property), u"v");
        EXPECT_NE(NarrowTextOf(contact).find("\r\n" + std::string(c.line) + "\r\n"),
                  std::string::npos);
        EXPECT_TRUE(contact.SetProperty(c.property, u""));
        EXPECT_EQ(TextOf(contact, c.property), u"");
    }
    SetLastError(ERROR_SUCCESS);
    std::u16string text;
    std::uint32_t number = 7;
    EXPECT_FALSE(contact.GetProperty("Unknown", &text) || contact.SetProperty("Unknown", u"v") ||
                 contact.GetProperty("FullName", &number));
    EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
    EXPECT_FALSE(contact.SetProperty("WssVersion", 5u) || contact.SetProperty("FullName", true));
    EXPECT_EQ(GetLastError(), ERROR_NOT_SUPPORTED);
    EXPECT_TRUE(contact.GetProperty("wssversion", &number));
    EXPECT_EQ(number, 0u);
}

TEST_F(PABContactTest, TheFirstOfTwoLinesIsTheProperty)
{
    Open(Card("NOTE:first\r\ng.NOTE;LANGUAGE=en:second\r\n"));
    EXPECT_EQ(TextOf(contact, "Comment"), u"first");
    std::u16string name;
    EXPECT_FALSE(contact.GetProperty("GivenName", &name)) << "there is no N line";
    EXPECT_TRUE(contact.SetProperty("Comment", u""));
    EXPECT_EQ(TextOf(contact, "Comment"), u"second");
    EXPECT_TRUE(contact.SetProperty("Comment", u"a, b"));
    EXPECT_EQ(NarrowTextOf(contact), Card("g.NOTE;LANGUAGE=en:a\\, b\r\n"));
    EXPECT_TRUE(contact.SetProperty("GivenName", u"Ann"));
    EXPECT_TRUE(contact.GetFirstName(&name));
    EXPECT_EQ(name, u"Ann") << "the names follow at once";
}

TEST_F(PABContactTest, TheWriteCounterGoesOnAndStopsAtItsLargest)
{
    static const std::pair<std::string, std::string> kCases[] = {
        {"41", "42"},
        {"-2", "-1"},
        {"none", "1"},
        {"2147483647", "2147483647"},
        {"99999999999999999999", "2147483647"},
    };
    Make();
    for (const auto& [before, after] : kCases) {
        SCOPED_TRACE(before);
        ASSERT_TRUE(contact.FromString(Card("X-LARKMERE-WSSVERSION:" + before + "\r\n")));
        EXPECT_TRUE(contact.Save());
        EXPECT_NE(folder.Read(kFirstFile).find("WSSVERSION:" + after + "\r\n"), std::string::npos);
    }
}

TEST_F(PABContactTest, TextNeverBreaksOutOfItsLine)
{
    {
        CPABContact writer;
        ASSERT_TRUE(writer.Create(folder.Path().c_str(), 1));
        ASSERT_TRUE(writer.SetProperty("URL", u"http://example.org"));
        for (const std::u16string& text :
             {std::u16string(u"a\rNOTE:x"), std::u16string(u"a\r\nEND:VCARD"),
              std::u16string(u"a\0b", 3), std::u16string(u"a\xD800"),
              std::u16string(u"a\nNOTE:x")}) {
            const bool isLineFeed = text == u"a\nNOTE:x";
            SetLastError(ERROR_SUCCESS);
            EXPECT_EQ(writer.SetProperty("Organization", text), isLineFeed);
            EXPECT_EQ(GetLastError(), isLineFeed ? ERROR_SUCCESS : ERROR_INVALID_DATA);
            EXPECT_FALSE(writer.SetProperty("Surname", text) || writer.SetFirstName(text) ||
                         writer.SetLastName(text));
            EXPECT_EQ(GetLastError(), ERROR_INVALID_DATA);
        }
        CContactTel telephone;
        telephone.SetType(0);
        telephone.SetNumber("1\r\nNOTE:tel");
        CContactIM im;
        im.SetType(0);
        im.SetAddress(u"x\nEND:VCARD\r");
        CContactAddr address;
        address.SetType(0);
        address.SetCountry(u"A\r\nNOTE:adr");
        CContactEmailList emails = OneEmail("ann@example.org");
        EXPECT_TRUE(emails.GetHead().GetAddress().SetComment(u"Ann\r\n\"Lee\"^:;,"));
        EXPECT_TRUE(writer.SetTelephones(ListOf<CContactTelList>(telephone)) &&
                    writer.SetIMs(ListOf<CContactIMList>(im)) &&
                    writer.SetAddresses(ListOf<CContactAddrList>(address)) &&
                    writer.SetEmails(emails));
        ASSERT_TRUE(writer.Save());
    }
    ASSERT_TRUE(contact.Open(folder.Path().c_str(), 1));
    EXPECT_EQ(TextOf(contact, "URL"), u"http://example.org");
    EXPECT_EQ(TextOf(contact, "Organization"), u"a\nNOTE:x");
    EXPECT_EQ(TextOf(contact, "Comment"), u"");
    EXPECT_EQ(TelephonesOf(contact), "0 1  NOTE:tel; ");
    EXPECT_EQ(AddressesOf(contact), u"0|||||||A \nNOTE:adr; ");
    EXPECT_EQ(contact.GetIMs().GetHead().GetAddress(), u"x END:VCARD ");
    EXPECT_EQ(contact.GetEmails().GetHead().GetAddress().GetComment(),
              std::u16string(u"Ann\n\"Lee\"^:;,"));
}

TEST_F(PABContactTest, TextExchangeFoldsAtCharactersAndReplacesTheRecord)
{
    Make();
    EXPECT_EQ(NarrowTextOf(contact), Card("N:\r\nFN:\r\nVERSION:3.0\r\n"));
    const std::string wide = "NOTE:" + std::string(69, 'x') + "\xc3\xa9" + std::string(75, 'y');
    EXPECT_TRUE(contact.FromString(Card(wide + "\r\nEMAIL:a@b.example\r\nTEL:1\r\n")));
    std::u16string text;
    EXPECT_TRUE(contact.ToString(&text));
    EXPECT_EQ(text, u"BEGIN:VCARD\r\nNOTE:" + std::u16string(69, u'x') + u"\r\n\t\u00e9" +
                        std::u16string(73, u'y') + u"\r\n\tyy\r\n" +
                        u"EMAIL:a@b.example\r\nTEL:1\r\nEND:VCARD\r\n");
    EXPECT_TRUE(contact.FromString(
        Card("FN:Ann\\, Lee\r\nEMAIL;X-COMMENT=old:a@b.example\r\nEMAIL:c@d.example\r\n")));
    EXPECT_EQ(contact.GetTelephones().GetCount(), 0u);
    EXPECT_TRUE(contact.SetProperty("FullName", u"Another")) << "a later name is no comment";
    ASSERT_EQ(contact.GetEmails().GetCount(), 2u);
    for (const CContactEmail& email : contact.GetEmails()) {
        EXPECT_EQ(email.GetAddress().GetComment(), std::u16string(u"Ann\\, Lee"));
    }
    CContactEmailList& kept = contact.GetEmails();
    const CContactEmail added = kept.GetHead();
    ASSERT_TRUE(contact.FromString(Card("EMAIL:e@f.example\r\n")));
    kept.AddTail(added);
    EXPECT_EQ(EmailsOf(contact), "0 e@f.example; 0 a@b.example; ") << "nothing added is lost";
    EXPECT_EQ(folder.Read(kFirstFile), "") << "text exchange writes no file";
}

// Two blocks for the text and its lines, and whatever the values asked for need.
TEST_F(PABContactTest, WhatIsNotAskedForTakesNoMemory)
{
    std::string lines = "N:Lee;Ann;;;\r\nFN:Ann Lee\r\n";
    for (int entry = 0; entry < 5; ++entry) {
        lines += "EMAIL;TYPE=internet:ann@example.org\r\nTEL;TYPE=home:+1 555 0100 0100 0100\r\n"
                 "NOTE;LANGUAGE=en:a note that needs the heap\r\nX-FOREIGN:a text of any kind\r\n";
    }
    const std::string card = Card(lines);
    std::u16string text;
    const std::pair<std::size_t, std::function<bool()>> kSteps[] = {
        {2, [&] { return contact.FromString(card); }},
        {0, [&] { return contact.GetProperty("Nickname", &text); }},
        {1, [&] { return contact.GetProperty("Comment", &text); }},
        {10, [&] { return contact.GetEmails().GetCount() == 5; }},
        {0, [&] { return contact.GetEmails().GetCount() == 5; }},
        {37, [&] { return contact.ToString(&text); }},
        {26, [&] { return contact.ToString(&text); }},
    };
    for (const auto& [most, step] : kSteps) {
        const CAllocationCount count;
        EXPECT_TRUE(step());
        EXPECT_LE(count.Blocks(), most);
    }
}
