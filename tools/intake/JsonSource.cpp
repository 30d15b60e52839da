#include "intake/JsonSource.h"

#include "cards/CardContent.h"
#include "cards/JCard.h"
#include "cards/JSContact.h"
#include "platform/LastError.h"

#include <nlohmann/json.hpp>

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
    const ordered_json value = text.size() > kMaxBytes
                                   ? ordered_json(ordered_json::value_t::discarded)
                                   : ordered_json::parse(text, nullptr, false);
    if (value.is_discarded()) {
        m_fault = text.size() > kMaxBytes ? "larger than 256 MB" : "no JSON";
        return;
    }
    const auto add = [this](const ordered_json& card) {
        m_cards.push_back(card.dump(-1, ' ', false, ordered_json::error_handler_t::replace));
    };
    const bool isList = value.is_array() && (value.empty() || !value[0].is_string());
    for (const ordered_json& card : isList ? value : ordered_json::array({value})) {
        add(card);
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
    std::vector<CVCard> read;
    const bool isRead = text.starts_with('{')
                            ? ReadJSContacts(text, &read, &card->losses, &card->fault)
                            : ReadJCards(text, &read, &card->losses, &card->fault);
    if (!isRead) {
        card->faultCode = ERROR_INVALID_DATA;
        return true;
    }
    card->card = std::move(read.front());
    if (IsGroupCard(card->card)) {
        card->notPerson = "a group of contacts";
    }
    FitToStore(card);
    return true;
}
