#pragma once

#include "intake/ImportCard.h"

#include <string>
#include <string_view>
#include <vector>

// Reads a file of jCards (RFC 7095) or of JSContact Cards (RFC 9553): one of them, or an array. The
// whole file is held in memory. A resource.
class CJsonSource : public CCardSource
{
public:
    static constexpr std::size_t kMaxBytes = 256u << 20;

    // Whether a text begins with an array or an object.
    static bool IsBeginning(std::string_view head);

    explicit CJsonSource(CInputText& input) : m_input(input) {}

    bool Next(CImportCard* card) override;
    std::string_view Contents() const override { return "jCard or JSContact Card"; }

private:
    void ReadFile();

    CInputText& m_input;
    bool m_isRead = false;
    std::string m_fault;              // of the file
    std::vector<std::string> m_cards; // each as a text of its own
    std::size_t m_count = 0;
};
