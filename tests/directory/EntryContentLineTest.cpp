#include "platform/LastError.h"
#include "support/AllocationFault.h"
#include "support/ContentLines.h"

#include <gtest/gtest.h>

#include <new>
#include <string>
#include <utility>

namespace
{

using namespace VCardUtils;

TEST(EntryContentLineTest, KnownTypesAndTheValueComeBackFromTheEntry)
{
    static const struct
    {
        const char* what;
        const char* line;
        std::uint32_t mask;
        const char* kept;
    } kCases[] = {
        {"any case", "ADR;TYPE=HOME,Pref:;;S", 80, "ADR;TYPE=home,pref:;;S;;;;"},
        {"repeated parameter", "ADR;type=dom;type=Intl:", 3, "ADR;TYPE=dom,intl:;;;;;;"},
        {"quoted list", "ADR;TYPE=\"work,parcel\",postal:", 44,
         "ADR;TYPE=postal,parcel,work:;;;;;;"},
        {"escapes", "ADR:;;a\\,b\\nc\\\\", 0, "ADR:;;a\\,b\\nc\\\\;;;;"},
        {"e-mail", "EMAIL;TYPE=home,x400,Pref,INTERNET:a@b.c", 7,
         "EMAIL;TYPE=internet,x400,pref:a@b.c"},
        {"display name", "EMAIL:Ann Lee <a@b.c>", 0, "EMAIL;X-COMMENT=Ann Lee:a@b.c"},
        {"comment wins", "EMAIL;X-COMMENT=Bob:Ann <a@b.c>", 0, "EMAIL;X-COMMENT=Bob:a@b.c"},
        {"not an address", "EMAIL;TYPE=pref;X-COMMENT=B:not one", 4,
         "EMAIL;X-COMMENT=B;TYPE=pref:"},
        {"IM", "IMPP;TYPE=PREF,Mobile,work,home,business,personal:xmpp:a", 63,
         "IMPP;TYPE=PERSONAL,BUSINESS,HOME,WORK,MOBILE,PREF:xmpp:a"},
        {"telephone",
         "TEL;TYPE=x-telex,x-radio,x-callback,x-switchboard,x-tdd,video,pcs,modem,bbs,isdn,car,"
         "pager,cell,msg,fax,VOICE,pref,work,home:+1 (\xD9\xA1);x",
         0x7FFFF,
         "TEL;TYPE=home,work,pref,voice,fax,msg,cell,pager,car,isdn,bbs,modem,pcs,video,x-tdd,"
         "x-switchboard,x-callback,x-radio,x-telex:+1 (\xD9\xA1);x"},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        SetLastError(4711);
        const CKeptLine kept = Keep(c.line);
        EXPECT_EQ(kept.mask, c.mask);
        EXPECT_EQ(kept.text, c.kept);
        EXPECT_EQ(GetLastError(), 4711U);
    }
}

TEST(EntryContentLineTest, AnEntryReplacesWhatItModelsAndLeavesTheRest)
{
    auto line = ReadLine<CTelephoneContentLine>("g.TEL;TYPE=home,textphone;X=1:1");
    CContactTel telephone;
    telephone.SetType(0xFFF80000 | 16);
    telephone.SetNumber("12\xE9 3");
    EXPECT_TRUE(line.SetTelephone(telephone));
    EXPECT_EQ(LineText(line), "g.TEL;TYPE=fax;X=1:12\xEF\xBF\xBD 3") << "bytes that are no UTF-8";
    EXPECT_EQ(line.GetTelephone().GetNumber(), "12\xE9 3");
    telephone.SetType(0);
    EXPECT_TRUE(line.SetTelephone(telephone));
    EXPECT_EQ(LineText(line), "g.TEL;X=1:12\xEF\xBF\xBD 3");

    auto email = ReadLine<CEmailContentLine>("EMAIL;X-COMMENT=Ann:a@b.c");
    EXPECT_TRUE(email.SetEmail(CContactEmail()));
    EXPECT_EQ(LineText(email), "EMAIL;X-COMMENT=Ann:") << "an empty comment";
}

TEST(EntryContentLineTest, ARefusedValueLeavesTheEntryAsItWas)
{
    auto email = ReadLine<CEmailContentLine>("EMAIL:a@b.c");
    SetLastError(4711);
    for (const std::u16string& value : {std::u16string(u"nobody"), std::u16string(1, u'\xDC00'),
                                        std::u16string(u"d@e.f\0x", 7)}) {
        EXPECT_FALSE(email.SetMainValue(value));
        EXPECT_EQ(email.GetMainValue(), value);
        EXPECT_STREQ(email.GetEmail().GetAddress().RawAddress(), "a@b.c");
    }
    auto telephone = ReadLine<CTelephoneContentLine>("TEL:1");
    EXPECT_FALSE(telephone.SetMainValue(std::u16string(1, u'\xD800')));
    EXPECT_EQ(telephone.GetTelephone().GetNumber(), "1");
    EXPECT_EQ(GetLastError(), 4711U);

    auto address = ReadLine<CAddressContentLine>("ADR:1;2;3;4;5;6;7");
    EXPECT_TRUE(address.SetMainValue(u"a;b"));
    EXPECT_EQ(LineText(CAddressContentLine(address.GetAddress())), "ADR:a;b;3;4;5;6;7");
}

TEST(NameContentLineTest, TheTextReadStaysUntilASetterRuns)
{
    static const struct
    {
        const char* what;
        const char* line;
        std::u16string_view family, suffixes;
        const char* written; // once the given name is set
    } kCases[] = {
        {"one component", "g.N;X=1:Lee", u"Lee", u"", "g.N;X=1:Lee;Ann;;;"},
        {"seven", "N:Lee;A;B;C;D;E;F", u"Lee", u"D", "N:Lee;Ann;B;C;D"},
        {"escapes stay", "N:Smith\\, Jr;John", u"Smith\\, Jr", u"", "N:Smith\\, Jr;Ann;;;"},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        auto line = ReadLine<CNameContentLine>(c.line);
        EXPECT_EQ(LineText(line), c.line);
        EXPECT_EQ(line.GetFamilyName(), c.family);
        EXPECT_EQ(line.GetHonorificSuffixes(), c.suffixes);
        EXPECT_TRUE(line.SetGivenName(u"Ann"));
        EXPECT_EQ(LineText(line), c.written);
    }
    CNameContentLine line;
    EXPECT_EQ(line.GetMainValue(), u"");
    EXPECT_TRUE(line.SetFamilyName(u"a,b\\") && line.SetAdditionalNames(u"c") &&
                line.SetHonorificPrefixes(u"d") && line.SetHonorificSuffixes(u"e"));
    EXPECT_EQ(line.GetMainValue(), u"a,b\\;;c;d;e");
    {
        std::u16string text(40, u'x');
        const CAllocationFault fault(1);
        EXPECT_THROW(line.SetFamilyName(std::move(text)), std::bad_alloc);
    }
    EXPECT_EQ(line.GetFamilyName(), u"a,b\\");
}

} // namespace
