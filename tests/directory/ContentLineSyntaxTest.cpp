#include "directory/ContentLine.h"
#include "platform/LastError.h"
#include "support/ContentLines.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace
{

using namespace DirectoryUtils;

TEST(ContentLineSyntaxTest, LinesAreTakenApartAtTheirSeparators)
{
    static const struct
    {
        std::string_view line;
        bool good;
        const char *group, *name;
        std::u16string_view value;
    } kCases[] = {
        {"", false, "", "", u""},
        {"ABC:", true, "", "ABC", u""},
        {"ABC.", false, "", "", u""},
        {"grp.ABC", false, "", "", u""},
        {"Grp.abc:x", true, "Grp", "ABC", u"x"},
        {"a.b.c:x", true, "a", "B.C", u"x"},
        {":a:b", true, "", "A", u"b"},
        {"g.:;abc:x", true, "g", "ABC", u"x"},
        {"NOTE:a:b;c.d", true, "", "NOTE", u"a:b;c.d"},
        {{"A:b\0c", 5}, true, "", "A", {u"b\0c", 3}},
        {"A:b\xC3", false, "", "", u""},
        {"A;X:b", false, "", "", u""},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.line);
        CParsedLine parsed{"old", "old", {}, u"old"};
        parsed.parameters.FindOrAdd("OLD")->AddTail(u"old");
        SetLastError(4711);
        EXPECT_EQ(parsed.Parse(c.line), c.good);
        EXPECT_EQ(GetLastError(), 4711U);
        EXPECT_EQ(parsed.parameters.GetCount(), 0u);
        if (c.good) {
            EXPECT_EQ(parsed.group, c.group);
            EXPECT_EQ(parsed.name, c.name);
            EXPECT_EQ(parsed.value, c.value);
        }
    }
}

TEST(ContentLineSyntaxTest, ParametersAreReadAndWrittenInOneForm)
{
    static const std::pair<std::string, const char*> kCases[] = {
        {"T;type=home;X=1;Type=work,pref", "T;TYPE=home,work,pref;X=1"},
        {"T;TYPE=,a,", "T;TYPE=,a,"},
        {"T;X=\"a b\"", "T;X=a b"},
        {"T;X=\"a:b;c,d=e\",f", "T;X=\"a:b;c,d=e\",f"},
        {"T;X= a,b\t", "T;X=\" a\",\"b\t\""},
        {"T;X=^n^^^'^x^", "T;X=^n^^^'^^x^^"},
        {"T;X=\\\"a\\", "T;X=\\^'a\\"},
        {"T;TYPE=HOME,TYPE=VOICE", "T;TYPE=HOME,TYPE=VOICE"},
        {"T;HOME", nullptr},
        {"T;=home", nullptr},
        {"T;TYPE=home;", nullptr},
        {"T;X=\"a", nullptr},
        {"T;X=\"a\"b", nullptr},
        {"T;X=a,\xFF", nullptr},
    };
    for (const auto& [head, written] : kCases) {
        SCOPED_TRACE(head);
        CParsedLine parsed;
        ASSERT_EQ(parsed.Parse(head + ":v"), written != nullptr);
        if (written != nullptr) {
            EXPECT_EQ(LineText(parsed.Line()), std::string(written) + ":v");
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

// The physical lines of a folded text.
std::vector<std::string> PhysicalLines(const std::string& text)
{
    std::vector<std::string> lines;
    for (std::size_t at = 0; at < text.size(); at = text.find("\r\n", at) + 2) {
        lines.push_back(text.substr(at, text.find("\r\n", at) - at));
    }
    return lines;
}

TEST(ContentLineSyntaxTest, NoPhysicalLineIsTooLongAndNoCharacterIsCut)
{
    for (const char* character : {"a", "\xC3\xA9", "\xE2\x82\xAC", "\xF0\x9F\x98\x80"}) {
        std::string line = "A:";
        for (std::size_t count = 0; count < 160; ++count, line += character) {
            CParsedLine parsed;
            ASSERT_TRUE(parsed.Parse(line));
            for (const std::uint32_t limit : {75U, 5U, 1U, 0U}) {
                SCOPED_TRACE(testing::Message() << line << " in " << limit);
                std::string text, unfolded = "\t";
                std::u16string wide;
                ASSERT_TRUE(parsed.Line().AppendFolded(&text, limit));
                for (const std::string& physical : PhysicalLines(text)) {
                    EXPECT_TRUE(Utf8ToWide(physical, &wide));
                    EXPECT_NE(physical, "\t");
                    EXPECT_LE(physical.size(), std::max<std::size_t>(limit, 5));
                    unfolded += physical.substr(unfolded.size() > 1 ? 1 : 0);
                }
                EXPECT_EQ(unfolded, "\t" + line);
            }
        }
    }
}

TEST(ContentLineSyntaxTest, FoldsStandAtTheLimits)
{
    static const struct
    {
        std::size_t length, continuation;
        std::vector<std::size_t> physical;
    } kCases[] = {{75, 74, {75}},         {76, 74, {75, 2}},   {149, 74, {75, 75}},
                  {150, 74, {75, 75, 2}}, {150, 75, {75, 76}}, {151, 75, {75, 76, 2}}};
    for (const auto& c : kCases) {
        SCOPED_TRACE(testing::Message() << c.length << ", " << c.continuation);
        std::string text;
        AppendFoldedLine(std::string(c.length, '\x80'), 75, c.continuation, &text);
        std::vector<std::size_t> lengths;
        for (const std::string& physical : PhysicalLines(text)) {
            lengths.push_back(physical.size());
        }
        EXPECT_EQ(lengths, c.physical);
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
