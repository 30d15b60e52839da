#include "directory/ContentLine.h"
#include "platform/LastError.h"
#include "support/ContentLines.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace
{

using namespace DirectoryUtils;

TEST(ContentLineSyntaxTest, LinesAreReadAndWrittenInOneForm)
{
    static const struct
    {
        std::string line;
        std::string_view written; // empty: refused
    } kCases[] = {
        {"", ""},
        {"ABC:", "ABC:"},
        {"ABC.", ""},
        {"grp.ABC", ""},
        {"Grp.abc:x", "Grp.ABC:x"},
        {"a.b.c:x", "a.B.C:x"},
        {":a:b", "A:b"},
        {"g.:;abc:x", "g.ABC:x"},
        {"NOTE:a:b;c.d", "NOTE:a:b;c.d"},
        {{"A:b\0c", 5}, {"A:b\0c", 5}},
        {"A:b\xC3", ""},
        {"T;type=home;X=1;Type=work,pref:v", "T;TYPE=home,work,pref;X=1:v"},
        {"T;TYPE=,a,:v", "T;TYPE=,a,:v"},
        {"T;X=\"a b\":v", "T;X=a b:v"},
        {"T;X=\"a:b;c,d=e\",f:v", "T;X=\"a:b;c,d=e\",f:v"},
        {"T;X= a,b\t:v", "T;X=\" a\",\"b\t\":v"},
        {"T;X=^n^^^'^x^:v", "T;X=^n^^^'^^x^^:v"},
        {"T;X=\\\"a\\:v", "T;X=\\^'a\\:v"},
        {"T;TYPE=HOME,TYPE=VOICE:v", "T;TYPE=HOME,TYPE=VOICE:v"},
        {"T;HOME:v", ""},
        {"T;=home:v", ""},
        {"T;TYPE=home;:v", ""},
        {"T;X=\"a:v", ""},
        {"T;X=\"a\"b:v", ""},
        {"T;X=a,\xFF:v", ""},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.line);
        CParsedLine parsed{"old", "old", {}, u"old"};
        parsed.parameters.FindOrAdd("OLD")->AddTail(u"old");
        SetLastError(4711);
        ASSERT_EQ(parsed.Parse(c.line), !c.written.empty());
        EXPECT_EQ(GetLastError(), 4711U);
        CParameterValues* old = nullptr;
        EXPECT_FALSE(parsed.parameters.Lookup("OLD", old));
        if (!c.written.empty()) {
            EXPECT_EQ(LineText(parsed.Line()), c.written);
        }
    }
}

TEST(ContentLineSyntaxTest, TextThatIsNoUtf16IsNotWritten)
{
    const std::u16string surrogate(1, u'\xD800');
    CParameters parameters;
    parameters.FindOrAdd("X")->AddTail(surrogate);
    std::string file = "before";
    for (const CContentLine& line :
         {CContentLine("g", "A", {}, surrogate), CContentLine("g", "A", parameters, u"v")}) {
        CUtf8String text;
        SetLastError(0);
        EXPECT_FALSE(line.ToString(&text));
        EXPECT_EQ(text.substr(0, 3), "g.A");
        EXPECT_FALSE(line.AppendFolded(&file, 75));
        EXPECT_EQ(file, "before");
        EXPECT_EQ(GetLastError(), ERROR_INVALID_DATA);
    }
    EXPECT_FALSE(CContentLine("A").ToString(nullptr));
}

TEST(ContentLineSyntaxTest, FoldsStandAtTheLimits)
{
    static const struct
    {
        std::size_t length, continuation;
        std::vector<std::size_t> physical; // with the tab
    } kCases[] = {{75, 74, {75}},         {76, 74, {75, 2}},   {149, 74, {75, 75}},
                  {150, 74, {75, 75, 2}}, {150, 75, {75, 76}}, {151, 75, {75, 76, 2}}};
    for (const auto& c : kCases) {
        SCOPED_TRACE(testing::Message() << c.length << ", " << c.continuation);
        std::string text, expected(c.physical[0], '\x80');
        for (std::size_t i = 1; i < c.physical.size(); ++i) {
            expected += "\r\n\t" + std::string(c.physical[i] - 1, '\x80');
        }
        AppendFoldedLine(std::string(c.length, '\x80'), 75, c.continuation, &text);
        EXPECT_EQ(text, expected + "\r\n");
    }
}

TEST(ContentLineSyntaxTest, NoTextBreaksOutOfItsLine)
{
    const std::pair<CContentLine, std::string_view> cases[] = {
        {{"", "A", {}, u"a\r\nEND:VCARD\nb\rc"}, "A:a  END:VCARD b c\r\n"},
        {{"g\n", "A\r", {}, u"v"}, "g .A :v\r\n"},
        {{" g", "A", {}, u"v"}, ". g.A:v\r\n"},
        {{"", "\nA", {}, u"v"}, ". A:v\r\n"},
    };
    for (const auto& [line, written] : cases) {
        SCOPED_TRACE(written);
        std::string text;
        ASSERT_TRUE(line.AppendFolded(&text, 75));
        EXPECT_EQ(text, written);
        CParsedLine parsed;
        EXPECT_TRUE(parsed.Parse(std::string_view(text).substr(0, text.size() - 2)));
        EXPECT_EQ(parsed.group.empty(), line.GetGroup().empty());
    }
}

TEST(ContentLineSyntaxTest, EscapingIsUndoneByUnescaping)
{
    static const struct
    {
        std::u16string_view plain, escaped;
    } kCases[] = {
        {u"a;b:\"c\"\r", u"a;b:\"c\"\r"},
        {u"a\\b,c\nd", u"a\\\\b\\,c\\nd"},
        {u"\\n\\,", u"\\\\n\\\\\\,"}, // looks escaped
        {u",x\\", u"\\,x\\\\"},
    };
    for (const auto& c : kCases) {
        EXPECT_EQ(EscapeTextValue(c.plain), c.escaped);
        EXPECT_EQ(UnescapeTextValue(c.escaped), c.plain);
    }
    EXPECT_EQ(UnescapeTextValue(u"\\N\\;\\x\\"), u"\\N\\;\\x\\");
}

} // namespace
