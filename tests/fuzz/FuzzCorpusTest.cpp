#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

// The fuzz targets, each under the name that the build gives it here.
using FuzzTarget = int(const std::uint8_t* data, std::size_t size);
extern "C" FuzzTarget AddressFuzz, ContactFileFuzz, ContentLineFuzz, PropertyFileFuzz,
    StoredContactFuzz, TextExchangeFuzz, Utf8Fuzz;

// A target that finds a fault ends the program. Every beginning of an input is an input too, in a
// block of its own size, so that the sanitizers see a byte that is read behind it.
TEST(FuzzCorpusTest, EveryTargetTakesEveryBeginningOfItsCorpus)
{
    static const struct
    {
        FuzzTarget* target;
        const char* corpus;
    } kTargets[] = {
        {AddressFuzz, "Address"},
        {ContactFileFuzz, "Contact"},
        {ContentLineFuzz, "ContentLine"},
        {PropertyFileFuzz, "PropertyFile"},
        {StoredContactFuzz, "StoredContact"},
        {TextExchangeFuzz, "Contact"},
        {Utf8Fuzz, "Utf8"},
    };
    const std::filesystem::path root = CONTACTMGR_TEST_DATA "/../fuzz/corpus";
    for (const auto& [target, corpus] : kTargets) {
        std::size_t inputs = 0;
        for (const auto& entry : std::filesystem::directory_iterator(root / corpus)) {
            SCOPED_TRACE(entry.path());
            std::ifstream file(entry.path(), std::ios::binary);
            const std::vector<std::uint8_t> input{std::istreambuf_iterator<char>(file), {}};
            for (std::size_t size = 0; size <= input.size(); ++size, ++inputs) {
                const std::vector<std::uint8_t> beginning(input.begin(),
                                                          input.begin() + std::ptrdiff_t(size));
                EXPECT_EQ(target(beginning.data(), size), 0);
            }
        }
        EXPECT_GT(inputs, 50u) << corpus;
    }
}

// A contact file with any one bit changed opens, and is then the same after a rewrite, or stays as
// it is: the target says which.
TEST(FuzzCorpusTest, AContactWithAnyBitChangedOpensOrStaysAsItIs)
{
    const std::string card =
        "BEGIN:VCARD\r\nVERSION:3.0\r\nN:Lee;Ann;B.;Dr.;Jr.\r\nFN:Ann \u00E9 Lee\r\n"
        "EMAIL;TYPE=internet,pref;X-COMMENT=\"Lee, ^'A^'\":ann@example.org\r\n"
        "item1.ADR;TYPE=home:;;1 Main St\\, b;T;;1;\r\nX-LARKMERE-WSSVERSION:41\r\n"
        "NOTE;LANGUAGE=en:one\\, two\\n\r\n \U0001D11E and a fold\r\nEND:VCARD\r\n";
    for (std::size_t bit = 0; bit < 8 * card.size(); ++bit) {
        std::vector<std::uint8_t> changed(card.begin(), card.end());
        changed[bit / 8] ^= static_cast<std::uint8_t>(1 << bit % 8);
        EXPECT_EQ(ContactFileFuzz(changed.data(), changed.size()), 0);
    }
}
