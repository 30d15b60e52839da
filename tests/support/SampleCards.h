#pragma once

#include "intake/CardReader.h"
#include "text/Utf8.h"

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

// The text of every whole UTF-8 card among the samples.
inline std::vector<std::string> SampleCards()
{
    std::vector<std::string> cards;
    for (const auto& entry : std::filesystem::directory_iterator(CONTACTMGR_TEST_DATA "/vcards")) {
        const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(
            std::fopen(entry.path().c_str(), "rb"), std::fclose);
        CInputText input(file.get());
        CCardReader reader(input);
        CCard card;
        while (reader.Next(&card)) {
            if (card.fault == nullptr && IsUtf8(card.text)) {
                cards.push_back(card.text);
            }
        }
    }
    return cards;
}
