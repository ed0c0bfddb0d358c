#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>

#include "tests/support/conversation.h"
#include "tests/support/program.h"

namespace {

namespace fs = std::filesystem;
using test::Contains;
using test::Outcome;
using test::RunKelvane;
using test::SamplePath;
using test::WorldView;

const std::string SeenPoints = test::FileText(SamplePath("worldview3_points_seen.txt"));
const std::string Centre = "41.8791 12.5798 95\n";

std::size_t EntriesOf(const std::string& folder) {
  return static_cast<std::size_t>(std::distance(fs::directory_iterator(folder), {}));
}

bool HoldsHalfWritten(const std::string& folder) {
  for (const auto& entry : fs::directory_iterator(folder))
    if (entry.path().filename().string().rfind(".kelvane-", 0) == 0) return true;
  return false;
}

TEST(Faults, WhatIsReadIsNotReplaced) {
  const test::ScratchFolder folder;
  const std::string points = folder.Write("points.txt", SeenPoints);
  const std::string set = folder.Path("set.xml");
  ASSERT_EQ(RunKelvane({"convert", WorldView, set, "--dataset"}).status, 0);
  const std::string before = test::FileText(set);
  fs::create_symlink("points.txt", folder.Path("link.txt"));
  fs::create_hard_link(points, folder.Path("hard.txt"));
  for (const char* name : {"link.xml", "link.png"}) fs::create_symlink("points.txt", folder.Path(name));
  const std::string other = folder.Path("other.xml");
  const std::vector<std::string> cases[] = {
      {"fit", "-p", points, "-o", points},
      {"fit", "-p", points, "-o", folder.Path("link.txt")},
      {"fit", "-p", folder.Path("link.txt"), "-o", folder.Path("hard.txt")},
      {"fit", "-p", points, "-o", fs::relative(points).string()},
      {"fit", "-p", points, "-o", other, "--plot", folder.Path("link.png")},
      {"refine", WorldView, "--kind", "shift", "-p", points, "-o", folder.Path("link.xml")},
      {"refine", WorldView, "--kind", "shift", "-p", points, "-o", other, "--plot", folder.Path("link.png")},
      {"convert", set + ":worldview3", set},
      {"convert", set + ":worldview3", set, "--dataset"},
      {"export", set + ":worldview3", "-o", set},
      {"invert", set + ":worldview3", "-o", set, "--grid", "8"}};
  for (const auto& arguments : cases) {
    const Outcome outcome = RunKelvane(arguments);
    EXPECT_EQ(outcome.status, 2) << arguments[0];
    EXPECT_TRUE(Contains(outcome.err, "replace")) << outcome.err;
    EXPECT_EQ(test::FileText(points), SeenPoints);
    EXPECT_EQ(test::FileText(set), before);
    EXPECT_FALSE(fs::exists(other));
  }
  // A model in its own place is what was asked for.
  const std::string own = folder.Write("own.RPB", test::FileText(WorldView));
  EXPECT_EQ(RunKelvane({"convert", own, "-o", own, "--quiet"}).status, 0);
  EXPECT_EQ(RunKelvane({"convert", set, set, "--dataset", "--quiet"}).status, 0);
  EXPECT_EQ(test::FileText(own) + test::FileText(set), test::FileText(WorldView) + before);
  // Answers behind the points would be points, for ever.
  for (const bool adds : {true, false}) {
    test::RunOptions own_points;
    own_points.out_path = points;
    own_points.adds = adds;
    const Outcome outcome = RunKelvane({"project", WorldView, "-p", points}, own_points);
    EXPECT_EQ(outcome.status, 2);
    EXPECT_TRUE(Contains(outcome.err, "points.txt: standard output is the same file"));
    EXPECT_EQ(test::FileText(points), adds ? SeenPoints : "");
  }
}

TEST(Faults, AnyPathIsAPath) {
  const test::ScratchFolder folder;
  for (const std::string name : {"a b", "-p", "\xC3\xA9\xE4\xB8\xAD", "\xFF\xFE", "%s%n", "a:b"}) {
    const std::string within = folder.Path(name);
    fs::create_directory(within);
    const std::string model = within + "/" + name + ".RPB";
    fs::copy_file(WorldView, model);
    const std::string points = within + "/" + name;
    EXPECT_TRUE(std::ofstream(points) << Centre);
    EXPECT_EQ(RunKelvane({"project", model, "-p", points}).out, "806.202140394 847.76392192\n") << name;
    const Outcome outcome = RunKelvane({"convert", model, within + "/" + name + ".xml", "--json", "--quiet"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(nlohmann::json::parse(outcome.out)["rounded"], 0);
    EXPECT_EQ(RunKelvane({"convert", within, within, "--each", "rpb", "--quiet"}).status, 0) << name;
    EXPECT_EQ(RunKelvane({"info", within + "/none/" + name}).status, 2);
    EXPECT_FALSE(HoldsHalfWritten(within));
  }
}

TEST(Faults, OutputsThatCannotBe) {
  const test::ScratchFolder folder;
  fs::create_directory(folder.Path("folder.rpb"));
  ASSERT_EQ(::mkfifo(folder.Path("fifo.rpb").c_str(), 0600), 0);
  const std::pair<std::string, const char*> cases[] = {
      {folder.Path("none/x.rpb"), "No such file or directory"},
      {folder.Path("folder.rpb"), "Is a directory"},
      {folder.Path("fifo.rpb"), "is no regular file"},
      {"/proc/x.rpb", "/proc/x.rpb: "},
      {WorldView + "/x.rpb", "Not a directory"},
      {folder.Path(""), "ends in .rpb"},
      {folder.Path(std::string(300, 'n') + ".rpb"), "File name too long"}};
  for (const auto& [out, why] : cases) {
    for (const std::vector<std::string>& command :
         {std::vector<std::string>{"convert", WorldView}, {"export", WorldView}}) {
      std::vector<std::string> arguments = command;
      arguments.insert(arguments.end(), {"-o", out, "--quiet"});
      const Outcome outcome = RunKelvane(arguments);
      EXPECT_EQ(outcome.status, 2) << out;
      EXPECT_TRUE(Contains(outcome.err, why)) << outcome.err;
    }
  }
  EXPECT_EQ(EntriesOf(folder.Path("")), 2U);
  // Of several outputs one that cannot be keeps the others from being.
  const std::string set = folder.Path("set.xml");
  ASSERT_EQ(RunKelvane({"convert", WorldView, set, "--dataset"}).status, 0);
  const std::string text = test::FileText(set);
  const std::string model =
      text.substr(text.find("<Model "), text.find("</RPCDataset>") - text.find("<Model "));
  folder.Write("set.xml", test::Replaced(text, model,
                                         model + test::Replaced(model, "worldview3", std::string(300, 'n'))));
  fs::create_directory(folder.Path("out"));
  const Outcome each = RunKelvane({"convert", set, folder.Path("out"), "--each", "rpb"});
  EXPECT_TRUE(each.status == 2 && Contains(each.err, "File name too long")) << each.err;
  EXPECT_EQ(EntriesOf(folder.Path("out")), 0U);
}

TEST(Faults, StreamsThatAreClosedOrGo) {
  const test::ScratchFolder folder;
  const std::string out = folder.Path("out.RPB");
  for (const std::vector<int>& closed : {std::vector<int>{0}, {1}, {2}, {0, 1}, {1, 2}, {0, 1, 2}}) {
    test::RunOptions options;
    options.closed = closed;
    const bool told = std::find(closed.begin(), closed.end(), 1) == closed.end();
    EXPECT_EQ(RunKelvane({"convert", WorldView, out}, options).status, told ? 0 : 2);
    EXPECT_EQ(test::FileText(out), test::FileText(WorldView));
    const bool asked = std::find(closed.begin(), closed.end(), 0) == closed.end();
    EXPECT_EQ(RunKelvane({"project", WorldView}, options).status, asked ? 0 : 2);
  }
  test::Conversation with({"project", WorldView, "--quiet"});
  EXPECT_FALSE(with.Ask(Centre, 1).empty());
  with.StopListening();
  // It may have ended before it is told the second line, which must not end us.
  std::signal(SIGPIPE, SIG_IGN);
  for (const char* const line : {"1\n", "2\n"}) with.Tell(line);
  std::signal(SIGPIPE, SIG_DFL);
  EXPECT_EQ(WTERMSIG(with.WaitForEnd()), SIGPIPE);
}

/// Starts `convert --each` until it is caught with a file half written, and ends it by the signal then; how
/// it ended.
int EndHalfway(const std::string& in, const std::string& out, int signal) {
  for (;;) {
    test::Conversation each({"convert", in, out, "--each", "rpb", "--quiet"});
    for (int looks = 0; looks < 10000 && !HoldsHalfWritten(out); ++looks) std::this_thread::yield();
    each.Signal(SIGSTOP);
    const bool caught = HoldsHalfWritten(out);
    if (caught) each.Signal(signal);
    each.Signal(SIGCONT);
    const int state = each.WaitForEnd();
    if (caught) return state;
  }
}

TEST(Faults, SignalsLeaveNothingHalfDone) {
  const test::ScratchFolder folder;
  constexpr std::size_t Models = 40;
  const std::string in = folder.Path("in");
  const std::string out = folder.Path("out");
  for (const std::string& path : {in, out}) fs::create_directory(path);
  for (std::size_t i = 0; i < Models; ++i) fs::copy_file(WorldView, in + "/" + std::to_string(i) + ".RPB");
  const std::string points = SamplePath("worldview3_points_seen.txt");
  const std::string target = folder.Path("target.rpb");
  ASSERT_EQ(RunKelvane({"fit", "-p", points, "-o", target, "--quiet"}).status, 0);
  const std::string whole = test::FileText(target);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    EXPECT_EQ(WTERMSIG(EndHalfway(in, out, signal)), signal);
    EXPECT_EQ(EntriesOf(out), Models);
    EXPECT_FALSE(HoldsHalfWritten(out));
    // A fit that waits for points does not end by what it has. One at work is asked sooner and sooner, until
    // it has not ended before.
    int end = 0;
    for (int wait = 20; end == 0; wait /= 2) {
      for (const std::string& from : {std::string("-"), points}) {
        folder.Write("target.rpb", "precious");
        test::Conversation fit({"fit", "-p", from, "-o", target, "--quiet"});
        if (from == "-") fit.Tell(SeenPoints);
        std::this_thread::sleep_for(std::chrono::milliseconds(wait));
        fit.Signal(signal);
        fit.Signal(signal);
        end = fit.WaitForEnd();
        EXPECT_TRUE(end != 0 || from == points);
        const std::string left = test::FileText(target);
        EXPECT_TRUE(left == (end == 0 ? whole : "precious") || (left == whole && from == points)) << left;
        EXPECT_FALSE(HoldsHalfWritten(folder.Path("")));
      }
    }
  }
}

TEST(Faults, OfTwoThatWriteOneFileOneIsThereWhole) {
  const test::ScratchFolder folder;
  const std::string target = folder.Path("target.xml");
  const auto write = [&](const char* model) {
    EXPECT_EQ(RunKelvane({"convert", SamplePath(model), target, "--quiet"}).status, 0);
    return test::FileText(target);
  };
  const std::string one = write("pleiades_1.xml");
  const std::string two = write("pleiades_2.xml");
  constexpr int Times = 10;
  std::thread other([&] {
    for (int i = 0; i < Times; ++i) write("pleiades_1.xml");
  });
  for (int i = 0; i < Times; ++i) {
    const std::string seen = write("pleiades_2.xml");
    EXPECT_TRUE(seen == one || seen == two);
  }
  other.join();
  EXPECT_EQ(EntriesOf(folder.Path("")), 1U);
}

}  // namespace
