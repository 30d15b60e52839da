#include "directory/TextLines.h"
#include "support/ContentLines.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

// The fuzz targets, each under the name that the build gives it here. A target that finds a fault
// ends the program.
using FuzzTarget = int(const std::uint8_t* data, std::size_t size);
extern "C" FuzzTarget AddressFuzz, ContactFuzz, ContentLineFuzz, StoredContactFuzz, Utf8Fuzz;
#ifdef CONTACTMGR_TEST_TOOL
extern "C" FuzzTarget ImportFuzz;
#endif

namespace
{

const std::filesystem::path kCorpus = CONTACTMGR_TEST_DATA "/../fuzz/corpus";

std::string ContentOf(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// In a block of just its size, so that the sanitizers see a byte that is read behind it.
void RunTarget(FuzzTarget* target, std::string_view input)
{
    const std::vector<std::uint8_t> block(input.begin(), input.end());
    EXPECT_EQ(target(block.data(), block.size()), 0);
}

TEST(FuzzCorpusTest, EveryTargetTakesEveryBeginningOfItsCorpus)
{
    static const std::pair<FuzzTarget*, const char*> kTargets[] = {
        {AddressFuzz, "Address"},
        {ContactFuzz, "Contact"},
        {ContentLineFuzz, "ContentLine"},
        {StoredContactFuzz, "StoredContact"},
        {Utf8Fuzz, "Utf8"},
#ifdef CONTACTMGR_TEST_TOOL
        {ImportFuzz, "Import"},
#endif
    };
    for (const auto& [target, corpus] : kTargets) {
        std::size_t inputs = 0;
        for (const auto& entry : std::filesystem::directory_iterator(kCorpus / corpus)) {
            const std::string input = ContentOf(entry.path());
            for (std::size_t size = 0; size <= input.size(); ++size, ++inputs) {
                RunTarget(target, std::string_view(input).substr(0, size));
            }
        }
        EXPECT_GT(inputs, 50u) << corpus;
    }
}

// The card of the corpus with lines added up to that size.
std::string CardOf(std::size_t size)
{
    constexpr std::string_view kEnd = "END:VCARD\r\n";
    std::string card = ContentOf(kCorpus / "Contact/card");
    EXPECT_TRUE(card.ends_with(kEnd));
    while (card.size() < size) {
        card.insert(card.size() - kEnd.size(), "NOTE;LANGUAGE=en:one\\, two\\n\r\n and a fold\r\n");
    }
    return card;
}

// With CONTACTMGR_LONG_TESTS set, every value of every byte of 1 KB and every beginning of 20 KB,
// which takes a minute.
TEST(FuzzCorpusTest, AContactWithADamagedByteOrAnEarlyEndOpensOrStaysAsItIs)
{
    const bool isLong = std::getenv("CONTACTMGR_LONG_TESTS") != nullptr;
    std::string card = CardOf(isLong ? 1000 : 0);
    for (char& byte : card) {
        const char before = byte;
        for (int change = 1; change < 256; change += isLong ? 1 : change) {
            byte = static_cast<char>(before ^ change);
            RunTarget(ContactFuzz, card);
        }
        byte = before;
    }
    card = CardOf(isLong ? 20'000 : 0);
    for (std::size_t size = 0; size < card.size(); ++size) {
        RunTarget(ContactFuzz, std::string_view(card).substr(0, size));
    }
}

// The refused lines have no colon, a parameter without "=", or old bytes that are no UTF-8.
TEST(FuzzCorpusTest, LinesOfRealCardsAreReadAndWhatIsWrittenOnceStaysTheSame)
{
    std::size_t good = 0, refused = 0;
    for (const auto& file : std::filesystem::directory_iterator(CONTACTMGR_TEST_DATA "/vcards")) {
        const CTextLines lines(ContentOf(file.path()));
        for (const std::string_view line : lines.Lines()) {
            ++(CParsedLine().Parse(line) ? good : refused);
            RunTarget(ContentLineFuzz, line);
        }
    }
    EXPECT_EQ(good, 446u);
    EXPECT_EQ(refused, 13u);
}

} // namespace
