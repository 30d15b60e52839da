#include "directory/ContentLine.h"
#include "platform/FileHandle.h"
#include "platform/LastError.h"
#include "support/ContentLines.h"
#include "support/TempFolder.h"

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
        const char* what;
        std::string_view line;
        bool good;
        const char *group, *name;
        std::u16string_view value;
    } kCases[] = {
        {"empty", "", false, "", "", u""},
        {"empty value", "ABC:", true, "", "ABC", u""},
        {"no name behind the group", "ABC.", false, "", "", u""},
        {"nothing behind the name", "grp.ABC", false, "", "", u""},
        {"group keeps its case", "Grp.abc:x", true, "Grp", "ABC", u"x"},
        {"second dot belongs to the name", "a.b.c:x", true, "a", "B.C", u"x"},
        {"leading colon, two tokens", ":a:b", true, "", "A", u"b"},
        {"separators behind the group", "g.:;abc:x", true, "g", "ABC", u"x"},
        {"separators in the value", "NOTE:a:b;c.d", true, "", "NOTE", u"a:b;c.d"},
        {"wide value", "FN:\xC3\xA9\xF0\x9F\x98\x80", true, "", "FN", u"\u00E9\U0001F600"},
        {"zero in the value", {"A:b\0c", 5}, true, "", "A", {u"b\0c", 3}},
        {"cut UTF-8", "A:b\xC3", false, "", "", u""},
        {"bad parameter refuses the line", "A;X:b", false, "", "", u""},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        CParsedLine parsed{"old", "old", {}, u"old"};
        parsed.parameters.FindOrAdd("OLD")->AddTail(u"old");
        SetLastError(4711);
        EXPECT_EQ(parsed.Parse(c.line), c.good);
        EXPECT_EQ(GetLastError(), 4711U);
        CParameterValues* values = nullptr;
        EXPECT_FALSE(parsed.parameters.Lookup("OLD", values));
        if (c.good) {
            EXPECT_EQ(parsed.group, c.group);
            EXPECT_EQ(parsed.name, c.name);
            EXPECT_EQ(parsed.value, c.value);
        }
    }
}

TEST(ContentLineSyntaxTest, ParametersAreReadAndWrittenInOneForm)
{
    static const struct
    {
        const char *what, *head;
        const char* written; // null: malformed
    } kCases[] = {
        {"list", "T;TYPE=home,work", "T;TYPE=home,work"},
        {"repeated, in any case", "T;type=home;X=1;Type=work,pref", "T;TYPE=home,work,pref;X=1"},
        {"empty members", "T;TYPE=,a,", "T;TYPE=,a,"},
        {"needless quotes", "T;X=\"a b\"", "T;X=a b"},
        {"quotes round separators", "T;X=\"a:b;c,d=e\",f", "T;X=\"a:b;c,d=e\",f"},
        {"blanks at the ends", "T;X= a,b\t", "T;X=\" a\",\"b\t\""},
        {"carets", "T;X=^n^^^'^x^", "T;X=^n^^^'^^x^^"},
        {"quote inside a value", "T;X=\\\"a\\", "T;X=\\^'a\\"},
        {"equals sign in a value", "T;TYPE=HOME,TYPE=VOICE", "T;TYPE=HOME,TYPE=VOICE"},
        {"no equals sign", "T;HOME", nullptr},
        {"no name", "T;=home", nullptr},
        {"nothing behind a good one", "T;TYPE=home;", nullptr},
        {"open quote", "T;X=\"a", nullptr},
        {"text behind the quote", "T;X=\"a\"b", nullptr},
        {"value that is no UTF-8", "T;X=a,\xFF", nullptr},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        CParsedLine parsed;
        ASSERT_EQ(parsed.Parse(std::string(c.head) + ":v"), c.written != nullptr);
        if (c.written != nullptr) {
            EXPECT_EQ(LineText(parsed.Line()), std::string(c.written) + ":v");
        }
    }
}

TEST(ContentLineSyntaxTest, ExtractSaysWhetherAnotherParameterFollows)
{
    CParameters parameters;
    int position = 2;
    EXPECT_TRUE(parameters.Extract("T;A=1;B=2:v", &position));
    EXPECT_EQ(position, 6);
    EXPECT_FALSE(parameters.Extract("T;A=1;B=2:v", &position));
    EXPECT_EQ(position, 10);
    for (int outside : {10, 12, -1}) {
        EXPECT_FALSE(parameters.Extract("T;A=1;B=2:v", &outside));
        EXPECT_EQ(outside, -1);
    }
}

TEST(ContentLineSyntaxTest, ParameterValuesOfAnyTextComeBack)
{
    const std::vector<std::u16string> values = {
        u"",   u" ",      u"a, b; c: d", u"\"quoted\" and ^ caret",  u"^n is no break", u"^^'",
        u"\t", u"two\n.", u"=",          std::u16string(u"a\0b", 3), u"\U0001F600,",    u"^"};
    CParameters parameters;
    for (const std::u16string& value : values) {
        parameters.FindOrAdd("ALL")->AddTail(value);
    }
    parameters.FindOrAdd("BREAKS")->AddTail(u"a\r\nb\rc");
    parameters.FindOrAdd("NOTHING");

    CParsedLine parsed;
    ASSERT_TRUE(parsed.Parse(LineText({"g", "X", parameters, u"value"})));
    EXPECT_EQ(parsed.value, u"value");
    EXPECT_EQ(parsed.parameters.GetCount(), 2U);
    const CParameterValues& all = *parsed.parameters.FindOrAdd("ALL");
    EXPECT_EQ(std::vector<std::u16string>(all.begin(), all.end()), values);
    EXPECT_EQ(parsed.parameters.FindOrAdd("BREAKS")->GetHead(), u"a\nb\nc");
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
    } kCases[] = {
        {75, 74, {75}},         {76, 74, {75, 2}},   {149, 74, {75, 75}},
        {150, 74, {75, 75, 2}}, {150, 75, {75, 76}}, {151, 75, {75, 76, 2}},
    };
    for (const auto& c : kCases) {
        for (const char byte : {'x', '\x80'}) { // a stray byte is no character
            SCOPED_TRACE(testing::Message() << c.length << ", " << c.continuation);
            std::string text;
            AppendFoldedLine(std::string(c.length, byte), 75, c.continuation, &text);
            std::vector<std::size_t> lengths;
            for (const std::string& physical : PhysicalLines(text)) {
                lengths.push_back(physical.size());
            }
            EXPECT_EQ(lengths, c.physical);
        }
    }
}

TEST(ContentLineSyntaxTest, NoTextBreaksOutOfItsLine)
{
    static const struct
    {
        const char* what;
        CContentLine line;
        std::string_view written;
    } kCases[] = {
        {"breaks in the value", {"", "A", {}, u"a\r\nEND:VCARD\nb\rc"}, "A:a  END:VCARD b c\r\n"},
        {"breaks in the head", {"g\n", "A\r", {}, u"v"}, "g .A :v\r\n"},
        {"blank in front of the group", {" g", "A", {}, u"v"}, ". g.A:v\r\n"},
        {"tab in front of the name", {"", "\tA", {}, u"v"}, ".\tA:v\r\n"},
        {"break in front of the name", {"", "\nA", {}, u"v"}, ". A:v\r\n"},
        {"zero", {"", "A", {}, std::u16string(u"a\0b", 3)}, {"A:a\0b\r\n", 7}},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        std::string text;
        ASSERT_TRUE(c.line.AppendFolded(&text, 75));
        EXPECT_EQ(text, c.written);
        CParsedLine parsed;
        EXPECT_TRUE(parsed.Parse(std::string_view(text).substr(0, text.size() - 2)));
        EXPECT_EQ(parsed.group.empty(), c.line.GetGroup().empty());
    }
}

TEST(ContentLineSyntaxTest, WriteGoesToTheFilesPositionAndPassesItsErrorOn)
{
    const CTempFolder folder;
    const std::string path = folder.Write("a.vcf", "");
    CFileHandle file(CreateFileA(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                 OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, INVALID_HANDLE_VALUE));
    const CContentLine line("", "NOTE", {}, std::u16string(80, u'x'));
    ASSERT_TRUE(line.Write(file.Get(), 75));
    ASSERT_TRUE(CContentLine("FN").Write(file.Get(), 75));
    EXPECT_EQ(folder.Read("a.vcf"),
              "NOTE:" + std::string(70, 'x') + "\r\n\t" + std::string(10, 'x') + "\r\nFN:\r\n");
    SetLastError(0);
    EXPECT_FALSE(line.Write(INVALID_HANDLE_VALUE, 75));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
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

TEST(ContentLineSyntaxTest, ComponentsAreSplitAtEverySeparator)
{
    struct Components : CContentLine
    {
        using CContentLine::GetTextComponent;
    };
    static const struct
    {
        std::u16string_view text;
        std::vector<std::u16string> components;
    } kCases[] = {
        {u"", {u""}},
        {u";a;", {u"", u"a", u""}},
        {u"a\\;b;c", {u"a\\", u"b", u"c"}}, // neither backslash nor quotes protect
        {u"\"a;b\"", {u"\"a", u"b\""}},
    };
    for (const auto& c : kCases) {
        std::vector<std::u16string> components;
        int position = 0;
        while (position >= 0) {
            components.push_back(Components::GetTextComponent(c.text, u';', &position));
        }
        EXPECT_EQ(components, c.components);
        EXPECT_EQ(Components::GetTextComponent(c.text, u';', &position), u"");
        EXPECT_EQ(position, -1);
    }
}

} // namespace
