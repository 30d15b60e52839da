// Runs one trial of the address book on a folder's file system and prints its row of the table.

#include "trust/Trial.h"

#include <cstdio>
#include <filesystem>
#include <string_view>

#include <CLI/CLI.hpp>

namespace
{

struct CTrial
{
    std::string_view name;
    Trial* run;
    const char* promise;
    bool hasOwnFolder = true;
};

constexpr CTrial kTrials[] = {
    {"kill", TryKills, "killed at every system call: contact whole, old or new"},
    {"random-kill", TryRandomKills, "killed at any time: contact whole, acknowledged save there"},
    {"numbers", TryNumbers, "numbers: none twice, none failed, one counter"},
    {"changes", TryChanges, "changes: every one reported, once"},
    {"handles", TryHandles, "handles: second opens refused, no save lost to another"},
    {"mail", TryDeliveries, "mail: what is delivered behind a walk is told by the next"},
    {"full-disk", TryFullDisk,
     "full disk, blocks shared: no contact lost, whole once there is room"},
    {"root", TryRoot, "what root made or left half done: the mail server goes on with it"},
    {"save", SaveUntilKilled, "saves that go on until a power cut", false},
    {"repair", RepairAfterPowerCut, "contacts opened after a power cut", false},
    {"read", ReadAfterPowerCut,
     "power cut while saving with flushing on: whole, nothing acknowledged lost", false},
};

} // namespace

int main(int count, char** arguments)
{
    CTrialOptions options;
    std::string name;
    CLI::App app("Runs a trial in FOLDER: kill, random-kill, numbers, changes, handles, mail, "
                 "full-disk, root; save, repair, read for power cuts");
    app.add_option("TRIAL", name)->required();
    app.add_option("FOLDER", options.folder)->required();
    app.add_option("--count", options.count);
    app.add_option("--second", options.second);
    app.add_flag("--jitter", options.withJitter);
    app.add_option("--share", options.share);
    app.add_option("--log", options.log);
    CLI11_PARSE(app, count, arguments);
    const auto trial = std::ranges::find(kTrials, name, &CTrial::name);
    if (trial == std::end(kTrials)) {
        std::cerr << app.help();
        return 2;
    }
    options.folder = std::filesystem::absolute(options.folder);
    options.second = options.second.empty() ? options.folder : options.second;
    std::string own = options.folder + "/trust-XXXXXX";
    if (trial->hasOwnFolder) {
        if (mkdtemp(own.data()) == nullptr) {
            std::perror(own.c_str());
            return 1;
        }
        options.second += own.substr(options.folder.size());
        options.folder = own;
    }
    alarm(3 * 3600); // seconds: a trial that takes longer hangs
    CRow row;
    trial->run(options, row);
    std::error_code ignored;
    std::filesystem::remove_all(own, ignored);
    return row.Print(trial->promise + std::string(options.withJitter ? " (jitter)" : "")) ? 0 : 1;
}
