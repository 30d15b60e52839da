// Runs one trial of the address book on a folder's file system and prints its row of the table.

#include "trust/Trial.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <string_view>

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

int ShowUsage()
{
    std::cerr << "usage: contactmgr_trust\n"
                 "           kill|random-kill|numbers|changes|handles|mail|full-disk|root FOLDER\n"
                 "           [--count N] [--second FOLDER] [--jitter] [--share COMMAND]\n"
                 "       contactmgr_trust save|repair|read FOLDER --log FILE\n";
    return 2;
}

} // namespace

int main(int count, char** arguments)
{
    if (count < 3) {
        return ShowUsage();
    }
    CTrialOptions options;
    options.folder = options.second = std::filesystem::absolute(arguments[2]);
    std::string times = "1";
    const std::map<std::string_view, std::string*> values = {{"--count", &times},
                                                             {"--second", &options.second},
                                                             {"--share", &options.share},
                                                             {"--log", &options.log}};
    for (int index = 3; index < count; ++index) {
        const auto value = values.find(arguments[index]);
        if (arguments[index] == std::string_view("--jitter")) {
            options.withJitter = true;
        } else if (value == values.end() || ++index == count) {
            return ShowUsage();
        } else {
            *value->second = arguments[index];
        }
    }
    options.count = std::atoi(times.c_str());
    const auto trial = std::ranges::find(kTrials, std::string_view(arguments[1]), &CTrial::name);
    if (trial == std::end(kTrials)) {
        return ShowUsage();
    }
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
