// A fresh board of the virtual switch for each test.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "wire.h"
#include "zelboard/zelboard.h"

class BoardTest : public ::testing::Test {
 public:
  /// Runs a command of the virtual switch on this board, such as "fit 1 sfp"; it must succeed.
  static void sim(const std::string &command);

 protected:
  BoardTest();
  ~BoardTest() override;

  /// A file of this test, removed with it.
  std::string file(const std::string &name, const std::vector<uint8_t> &content);
  std::string path(const std::string &name) const { return folder_ + "/" + name; }

  /// Bytes of the flash as the driver reads them.
  static std::vector<uint8_t> flash(uint32_t address, uint32_t length);
  static void program(uint32_t address, const std::vector<uint8_t> &bytes);

 private:
  std::string folder_;
};

/// Bytes that differ from place to place.
std::vector<uint8_t> pattern(size_t length, uint32_t seed = 1);

/// Runs a call under recording and gives the events; the call's result goes to `result`.
template <typename Call>
std::string trace(Call call, uint32_t *result = nullptr, std::initializer_list<const char *> drop = {}) {
  wire::record();
  const uint32_t answer = call();
  std::string events = wire::recorded(drop);
  if (result != nullptr) *result = answer;
  return events;
}

/// Runs a call under recording and gives its result.
template <typename Call>
uint32_t result_of(Call call) {
  uint32_t result = 0xEEEEEEEE;
  trace(call, &result);
  return result;
}
