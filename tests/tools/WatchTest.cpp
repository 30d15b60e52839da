#include "support/ToolRun.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <regex>
#include <string>

using ::std::string;

TEST(WatchTest, EachChangeIsToldOnceUntilASignal)
{
    const CTool tool;
    const string script = tool.Folder().Write("script", R"(
run() { "$1" --store "$2" --mailbox alice@example.org "${@:3}"; }
wait_for() { for _ in {1..500}; do grep -q "$1" "$out" && return; sleep 0.02; done; exit 9; }
tool=$1 store=$2 out=$3
"$tool" --store "$store" --mailbox alice@example.org watch > "$out" & pid=$!
trap 'kill $pid 2>/dev/null' EXIT
wait_for version
run "$tool" "$store" new FullName=A > /dev/null
wait_for 'created VCARDPAB-1'
for i in 1 2 3; do run "$tool" "$store" set VCARDPAB-1 Nickname=$i; sleep 0.2; done
run "$tool" "$store" delete VCARDPAB-1
wait_for 'deleted VCARDPAB-1'
kill -TERM $pid
wait $pid
)");
    const string out = tool.Folder() / "watched";
    const string command =
        "bash " + script + " " + CONTACTMGR_TEST_TOOL + " " + tool.StorePath() + " " + out;
    EXPECT_EQ(std::system(command.c_str()), 0); // NOLINT(concurrency-mt-unsafe)
    const string told =
        std::regex_replace(tool.Folder().Read("watched"), std::regex("version .*\n"), "");
    EXPECT_EQ(told, "created VCARDPAB-1\nchanged VCARDPAB-1\nchanged VCARDPAB-1\n"
                    "changed VCARDPAB-1\ndeleted VCARDPAB-1\n");
}
