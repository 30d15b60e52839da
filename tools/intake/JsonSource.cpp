#include "intake/JsonSource.h"

#include "cards/CardContent.h"
#include "cards/JCard.h"
#include "cards/JSContact.h"
#include "cards/JsonLimits.h"
#include "platform/LastError.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <utility>

using nlohmann::ordered_json;

bool CJsonSource::IsBeginning(std::string_view head)
{
    const std::size_t first = head.find_first_not_of(" \t\r\n");
    return first != head.npos && (head[first] == '[' || head[first] == '{');
}

void CJsonSource::ReadFile()
{
    std::string text;
    for (std::string_view rest = m_input.Rest(); !rest.empty() && text.size() <= kMaxBytes;
         rest = m_input.Rest()) {
        text.append(rest);
        m_input.Take(rest.size());
    }
    if (text.size() > kMaxBytes || !IsWithinJsonLimits(text)) {
        m_fault = text.size() > kMaxBytes ? "larger than 256 MB" : kBeyondJsonLimits;
        return;
    }
    const ordered_json value = ordered_json::parse(text, nullptr, false);
    const auto add = [this](const ordered_json& card) {
        m_cards.push_back(card.dump(-1, ' ', false, ordered_json::error_handler_t::replace));
    };
    if (value.is_discarded()) {
        m_fault = "no JSON";
    } else if (value.is_array() && (value.empty() || !value[0].is_string())) {
        std::ranges::for_each(value, add);
    } else {
        add(value);
    }
}

bool CJsonSource::Next(CImportCard* card)
{
    if (!m_isRead) {
        m_isRead = true;
        ReadFile();
    }
    *card = CImportCard();
    card->number = m_count + 1;
    if (!m_fault.empty()) {
        card->fault = std::exchange(m_fault, {});
        card->faultCode = ERROR_INVALID_DATA;
        return true;
    }
    if (m_count == m_cards.size()) {
        return false;
    }
    const std::string text = std::exchange(m_cards[m_count++], {});
    const bool isRead = text.starts_with('{')
                            ? ReadJSContact(text, &card->card, &card->losses, &card->fault)
                            : ReadJCard(text, &card->card, &card->losses, &card->fault);
    if (!isRead) {
        card->faultCode = ERROR_INVALID_DATA;
        return true;
    }
    if (IsGroupCard(card->card)) {
        card->notPerson = "a group of contacts";
    }
    FitToStore(card);
    return true;
}
