#include "sync/SyncState.h"

#include "base/Text.h"
#include "platform/LastError.h"

#include <nlohmann/json.hpp>

using nlohmann::ordered_json;

namespace
{

constexpr const char* kFormat = "contactmgr-sync 1";

ordered_json ToJson(const CFileMark& mark)
{
    return {mark.size, mark.time, mark.inode};
}

CFileMark MarkFrom(const ordered_json& value)
{
    return {value.at(0).get<std::uint64_t>(), value.at(1).get<std::int64_t>(),
            value.at(2).get<std::uint64_t>()};
}

ordered_json ToJson(const CSyncedCard& card)
{
    ordered_json object = {{"id", card.id},     {"uid", card.uid},
                           {"file", card.file}, {"mark", ToJson(card.mark)},
                           {"ours", card.ours}, {"theirs", card.theirs}};
    if (card.isUnread) {
        object["unread"] = true;
    }
    return object;
}

CSyncedCard CardFrom(const ordered_json& value)
{
    return {value.at("id").get<std::string>(),
            value.at("uid").get<std::string>(),
            value.at("file").get<std::string>(),
            MarkFrom(value.at("mark")),
            value.at("ours").get<std::vector<std::string>>(),
            value.at("theirs").get<std::vector<std::string>>(),
            value.value("unread", false)};
}

} // namespace

bool ReadSyncState(const std::string& path, CSyncState* state)
{
    std::string text;
    if (!ReadWholeFile(path, &text)) {
        return false;
    }
    try {
        const ordered_json object = ordered_json::parse(text);
        CSyncState read;
        if (object.at("format") == kFormat &&
            ParseVersion(object.at("version").get<std::string>(), &read.version)) {
            read.mailbox = object.at("mailbox").get<std::string>();
            read.folder = object.value("folder", std::string());
            for (const ordered_json& card : object.at("cards")) {
                read.cards.push_back(CardFrom(card));
            }
            for (const auto& [name, mark] : object.at("passed").items()) {
                read.passed.emplace(name, MarkFrom(mark));
            }
            *state = std::move(read);
            return true;
        }
    } catch (const ordered_json::exception&) {
        // as for a file of somebody else
    }
    SetLastError(ERROR_INVALID_DATA);
    return false;
}

bool WriteSyncState(const std::string& path, const CSyncState& state)
{
    ordered_json cards = ordered_json::array();
    for (const CSyncedCard& card : state.cards) {
        cards.push_back(ToJson(card));
    }
    ordered_json passed = ordered_json::object();
    for (const auto& [name, mark] : state.passed) {
        passed[name] = ToJson(mark);
    }
    ordered_json object = {{"format", kFormat},
                           {"mailbox", state.mailbox},
                           {"version", VersionText(state.version)},
                           {"cards", std::move(cards)},
                           {"passed", std::move(passed)}};
    if (!state.folder.empty()) {
        object["folder"] = state.folder;
    }
    return ReplaceFile(path, object.dump(0, ' ', false, ordered_json::error_handler_t::strict));
}
