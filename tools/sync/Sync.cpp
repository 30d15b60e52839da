#include "sync/Sync.h"

#include "base/Session.h"
#include "sync/SyncReader.h"
#include "sync/SyncWriter.h"
#include "text/Utf8.h"

#include <filesystem>
#include <system_error>
#include <utility>

namespace
{

// Beside the folder: a folder whose disk is not there must not look like a new one.
std::string StatePathOf(const CSyncOptions& options, const std::string& folder)
{
    if (!options.statePath.empty()) {
        return options.statePath;
    }
    std::filesystem::path path = std::filesystem::absolute(folder).lexically_normal();
    if (!path.has_filename()) { // "." and "..", which become paths that end in "/"
        path = path.parent_path();
    }
    return path.parent_path() / ("." + path.filename().string() + ".contactmgr-sync");
}

// Without the links on its way. Empty for a path that is no UTF-8, which the state cannot hold.
std::string RealPathOf(const std::string& folder)
{
    std::error_code error;
    const std::string path = std::filesystem::weakly_canonical(folder, error).string();
    return error || !IsUtf8(path) ? std::string() : path;
}

// With the state of another folder, all cards of that folder would be taken for deleted. A folder
// that was moved is no longer where the state has it.
bool IsOfOtherFolder(const CSyncState& state, const std::string& folder)
{
    std::error_code ignored;
    return !state.folder.empty() && std::filesystem::exists(state.folder, ignored) &&
           !std::filesystem::equivalent(state.folder, folder, ignored);
}

bool ReadState(CSession& session, const std::string& path, const std::string& folder,
               CSyncState* state)
{
    if (!Try([&] { return ReadSyncState(path, state); }) && !IsMissingFile(GetLastError())) {
        return session.Report().Failure("read " + path);
    }
    if (IsOfOtherFolder(*state, folder)) {
        return session.Report().Refusal("read " + path, "it is of folder " + state->folder);
    }
    return state->mailbox.empty() || state->mailbox == session.Owner() ||
           session.Report().Refusal("read " + path, "it is of mailbox " + state->mailbox);
}

// Makes a folder that was never there.
bool OpenFolder(CSession& session, CVdir& vdir, const std::string& statePath,
                const CSyncOptions& options)
{
    std::error_code ignored;
    if (!std::filesystem::exists(vdir.Folder(), ignored)) {
        CSyncState state;
        if (!ReadState(session, statePath, vdir.Folder(), &state)) {
            return false;
        }
        if (!state.cards.empty() && !options.acceptsEmpty) {
            return session.Report().Refusal(
                "sync " + vdir.Folder(),
                "the folder is missing, and had " + std::to_string(state.cards.size()) +
                    " cards: is its disk there? --force-delete deletes the contacts too; without " +
                    statePath + " all cards are written anew");
        }
        if (options.isDryRun) {
            return session.Report().Refusal("sync " + vdir.Folder(),
                                            "the folder is missing; a run makes it",
                                            ERROR_PATH_NOT_FOUND);
        }
        if (!Try([&] { return vdir.Make(); })) {
            return session.Report().Failure("make " + vdir.Folder());
        }
    }
    if (Try([&] { return vdir.Open(); })) {
        return true;
    }
    return GetLastError() == ERROR_SHARING_VIOLATION
               ? session.Report().Refusal("sync " + vdir.Folder(), "another run is at work there",
                                          ERROR_SHARING_VIOLATION)
               : session.Report().Failure("open " + vdir.Folder());
}

} // namespace

bool Sync(CSession& session, const CSyncOptions& options)
{
    CVdir vdir(options.folder);
    const std::string statePath = StatePathOf(options, vdir.Folder());
    CSyncState before;
    if (!OpenFolder(session, vdir, statePath, options) ||
        !ReadState(session, statePath, vdir.Folder(), &before)) {
        return false;
    }
    CSyncReader reader(session, vdir, before);
    if (!reader.Read(options.acceptsEmpty)) {
        return false;
    }
    std::vector<CSyncAction> plan = reader.Plan();
    if (options.isDryRun) {
        PrintPlan(plan);
        return true;
    }
    CSyncState next = reader.TakeNext();
    next.folder = RealPathOf(vdir.Folder());
    CSyncWriter writer(session, vdir, statePath, std::move(next));
    return writer.Run(std::move(plan), before);
}
