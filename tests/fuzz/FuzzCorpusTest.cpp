#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
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

// A contact file that was cut, or has a byte changed, opens, and is then the same after a rewrite,
// or stays as it is: the target says which. With CONTACTMGR_LONG_TESTS set, every value of every
// byte of 1 KB and every beginning of 20 KB, which takes a minute.
TEST(FuzzCorpusTest, ADamagedContactOpensOrStaysAsItIs)
{
    const bool isLong = std::getenv("CONTACTMGR_LONG_TESTS") != nullptr;
    std::string card = "BEGIN:VCARD\r\nVERSION:3.0\r\nN:Lee;Ann;B.;Dr.;Jr.\r\nFN:Ann \u00E9 Lee\r\n"
                       "EMAIL;TYPE=internet,pref;X-COMMENT=\"Lee, ^'A^'\":ann@example.org\r\n"
                       "item1.ADR;TYPE=home:;;1 Main St\\, b;T;;1;\r\nX-LARKMERE-WSSVERSION:41\r\n";
    const auto fillTo = [&card](std::size_t size) {
        while (card.size() < size) {
            card += "NOTE;LANGUAGE=en:one\\, two\\n\r\n \U0001D11E and a fold\r\n";
        }
        return card + "END:VCARD\r\n";
    };
    const std::string small = fillTo(isLong ? 1000 : 300);
    for (std::size_t at = 0; at < small.size(); ++at) {
        for (int change = 1; change < 256; change += isLong ? 1 : change) {
            std::vector<std::uint8_t> changed(small.begin(), small.end());
            changed[at] ^= static_cast<std::uint8_t>(change);
            EXPECT_EQ(ContactFileFuzz(changed.data(), changed.size()), 0);
        }
    }
    const std::string large = fillTo(isLong ? 20'000 : 300);
    for (std::size_t size = 0; size < large.size(); ++size) {
        const std::vector<std::uint8_t> cut(large.data(), large.data() + size);
        EXPECT_EQ(ContactFileFuzz(cut.data(), size), 0);
    }
}
