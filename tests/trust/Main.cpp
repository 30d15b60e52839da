// Runs one trial of the address book on a folder's file system and prints its row of the table.

#include "trust/Trial.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string_view>

#include <unistd.h>

namespace
{

constexpr unsigned kLongestSeconds = 3 * 3600;

const struct
{
    std::string_view name;
    Trial run;
    bool ownFolder;
} kTrials[] = {
    {"kill", TryKills, true},
    {"random-kill", TryRandomKills, true},
    {"numbers", TryNumbers, true},
    {"changes", TryChanges, true},
    {"handles", TryHandles, true},
    {"full-disk", TryFullDisk, true},
    {"root", TryRoot, true},
    {"save", SaveUntilKilled, false},
    {"repair", RepairAfterPowerCut, false},
    {"read", ReadAfterPowerCut, false},
};

int ShowUsage()
{
    std::fputs("usage: contactmgr_trust\n"
               "           kill|random-kill|numbers|changes|handles|full-disk|root FOLDER\n"
               "           [--count N] [--second FOLDER] [--jitter] [--share COMMAND]\n"
               "       contactmgr_trust save|repair|read FOLDER --log FILE\n",
               stderr);
    return 2;
}

bool RunInOwnFolder(Trial run, CTrialOptions options)
{
    std::string name = options.folder + "/trust-XXXXXX";
    if (mkdtemp(name.data()) == nullptr) {
        std::perror(options.folder.c_str());
        return false;
    }
    if (!options.second.empty()) {
        options.second += name.substr(options.folder.size());
    }
    options.folder = name;
    const bool isKept = run(options);
    std::error_code ignored;
    std::filesystem::remove_all(name, ignored);
    return isKept;
}

} // namespace

int main(int count, char** arguments)
{
    if (count < 3) {
        return ShowUsage();
    }
    CTrialOptions options;
    options.folder = std::filesystem::absolute(arguments[2]);
    for (int index = 3; index < count; ++index) {
        const std::string_view option = arguments[index];
        if (option == "--jitter") {
            options.withJitter = true;
        } else if (++index == count) {
            return ShowUsage();
        } else if (option == "--count") {
            options.count = std::atoi(arguments[index]);
        } else if (option == "--second") {
            options.second = arguments[index];
        } else if (option == "--share") {
            options.share = arguments[index];
        } else if (option == "--log") {
            options.log = arguments[index];
        } else {
            return ShowUsage();
        }
    }
    alarm(kLongestSeconds);
    for (const auto& trial : kTrials) {
        if (trial.name == arguments[1]) {
            const bool isKept =
                trial.ownFolder ? RunInOwnFolder(trial.run, options) : trial.run(options);
            return isKept ? 0 : 1;
        }
    }
    return ShowUsage();
}
