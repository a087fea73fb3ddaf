// Parts of the page's server: what a slow page gets, what programs read anew, and when a writing is over.
#include <gtest/gtest.h>

#include <sys/wait.h>

#include <tuple>

#include "../cli/program.h"
#include "../sim/web/flash_activity.h"
#include "../sim/web/news.h"
#include "../sim/web/readings.h"

const char *const kProgram = "web_tests";

namespace {

using namespace zelsim;
using namespace zelsim::web;

TEST(News, ASlowReaderIsToldHowMuchItMissesAndWhatMatters) {
  News news;
  Reader slow = {.wants_requests = true};
  int count = 0;
  auto told_after = [&](int end, Reader &reader) {
    for (; count < end; ++count) {
      news.add("activity", std::to_string(count), 2);
      news.add(kRequestsLog, std::to_string(count), 2, count % 3 == 0);
    }
    news.put("gone", "null");
    news.publish();
    std::string all;
    for (const std::string &object : news.next(reader)) all += object;
    return all;
  };
  EXPECT_EQ(told_after(3, slow), R"({"gone":null,"activity":[1,2]}{"requests":[1,2]})");
  EXPECT_EQ(told_after(12, slow), R"({"activity_missed":7,"activity":[10,11]}{"requests":[{"missed":4},3,6,9,10,11]})");
  Reader other;
  EXPECT_EQ(told_after(12, other), R"({"gone":null,"activity":[10,11]})");
  // Of what matters some thousand entries are kept.
  const std::string begin = R"({"activity_missed":12001,"activity":[12013,12014]}{"requests":[{"missed":8001,)";
  EXPECT_EQ(told_after(12015, slow).find(begin + R"("failures":true},15,18,)"), 0);
}

TEST(Readings, AChangeIsToldWithTheTimeInWhichItMayHaveHappened) {
  // Programs ask for the supplies, some of them after requests that nobody has seen.
  const std::tuple<char, bool, uint8_t, uint8_t, int64_t, std::string_view> steps[] = {
      {'a', false, 0, 0xc0, 0, ""},
      {'a', false, 0, 0xc0, 1000000, "a repetition"},
      {'c', false, 0, 0xc0, 1000000, ""},
      {'b', false, 0, 0x40, 1000000, ""},
      {'a', false, 1, 0x40, 5000000, "supply 2: good → not good"},
      {'a', false, 0, 0xc0, 6000000, "supply 2: not good → good"},
      {'a', false, 0, 0x40, 7000000, "supply 2: good → not good"},
      {'a', false, 0, 0x40, 9000000, "a repetition"},
      {'a', true, 0, 0xc0, 9300000, "supply 2: not good → good, now or up to 0.3 s before"},
      {'a', true, 0, 0xc0, 9400000, ""},
      {'a', true, 0, 0x40, 10400001, ""}};
  Readings readings;
  for (const auto &[program, misses, asked, status, at_us, told] : steps) {
    TracedCall call = {.record = {.node = Node::Gpio, .number = 0x98, .has_record = 1, .at_us = at_us},
                       .event = {.node = Node::Gpio, .number = 0x98, .request = request_of(Node::Gpio, 0x98)}};
    call.record.program[0] = program;
    call.event.before[0] = asked;
    call.event.after[0] = status;
    const uint8_t bytes[] = {asked, status};
    if (misses) readings.miss_some();
    bool repeats = readings.take_repeated(call.record, {reinterpret_cast<const char *>(bytes), sizeof bytes});
    EXPECT_EQ(repeats ? "a repetition" : readings.take(call).changed, told) << at_us;
  }
}

TEST(FlashActivity, WhatAProcessDidBetweenTheCopyOfItsBoardAndItsEndIsTold) {
  pid_t process = fork();
  ASSERT_GE(process, 0);  // the signal below is for one process
  while (process == 0) pause();
  Change change = {
      .at_us = host_time_us(), .process = uint32_t(process), .kind = ChangeKind::FlashWrite, .address = 33, .after = 7};
  Watch inside = {};
  inside.flash_users[0] = change.process;
  FlashActivity flash;
  EXPECT_EQ(flash.take(change).size(), 1u);
  // A second program, which lives on, begins a little later.
  Change later = change;
  later.process = uint32_t(getpid());
  later.address = 34;
  ++later.at_us;
  EXPECT_EQ(flash.take(later).size(), 1u);
  EXPECT_TRUE(flash.look(inside, "/nowhere").empty());
  EXPECT_EQ(flash.first()->left, (224 - 33) * kSectorSize);
  kill(process, SIGKILL);
  waitpid(process, nullptr, 0);
  EXPECT_TRUE(flash.look(inside, "/nowhere").empty());
  EXPECT_TRUE(flash.take(change).empty());
  FlashLines lines = flash.look({}, "/nowhere");
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_NE(lines[0].text.find("0 sectors erased, 14 bytes written"), std::string::npos) << lines[0].text;
  // The other one is over two seconds after its last write.
  flash.take_growth(later);
  EXPECT_EQ(flash.end_quiet({}, later.at_us + 2000001).size(), 1u);
  // A write that grows goes on.
  flash.take(later);
  ++later.after;
  flash.take_growth(later);
  EXPECT_TRUE(flash.end_quiet({}, later.at_us + 2000001).empty());
}

}  // namespace
