#include <dlfcn.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "path_folders.h"
#include "preload.h"
#include "recorder_calls.h"

// The recorder's libc functions that reach no node: pauses, and command lines with the platform's tool.

namespace zelsim {
namespace {

// The object of a process that has an address.
void *object_of(void *address) {
  Dl_info found = {};
  return dladdr(address, &found) != 0 ? found.dli_fbase : nullptr;
}

// Drivers that are a library in front of libc may have a `system` of their own, which starts nothing.
bool libc_answers_system() {
  static void *const behind_us = object_of(next_function("system"));
  return behind_us == object_of(next_function("gnu_get_libc_version"));
}

// A folder of PATH. No NUL ends its text.
struct PathFolder {
  const char *text;
  int length;
};

bool is_of_recorder(const PathFolder &folder) {
  const char *tools = variable(kRecordToolsVariable);
  auto length = static_cast<int>(strlen(tools));
  return folder.length == length && strncmp(folder.text, tools, strlen(tools)) == 0;
}

bool has_tool(const PathFolder &folder) {
  char file[PATH_MAX];
  snprintf(file, sizeof file, "%.*s/debugCmd", folder.length, folder.text);
  return access(file, X_OK) == 0;
}

// True if the first debugCmd in PATH is the recorder's, whose folder counts whatever is in it.
bool finds_our_tool() {
  PathFolder first = {};
  bool is_found = any_folder_in_path([&](const char *text, int length) {
    first = {text, length};
    return is_of_recorder(first) || has_tool(first);
  });
  return is_found && is_of_recorder(first);
}

// True if a shell starts the recorder's debugCmd for this line.
bool shell_runs_our_tool(const char *line) {
  bool names_folder = strstr(line, "/debugCmd") != nullptr;
  return !names_folder && finds_our_tool() && libc_answers_system();
}

}  // namespace
}  // namespace zelsim

using namespace zelsim;

#pragma GCC visibility push(default)
extern "C" {

// Buffered lines are written at a pause, at most this often: a write costs more than the lines.
constexpr int64_t kWriteIntervalNs = 100000000;

int usleep(useconds_t microseconds) {
  auto function = [&] { return behind<usleep>("usleep")(microseconds); };
  NodeCall call = {.kind = CallKind::Pause};
  call.argument = microseconds;
  if (replays()) return replay(call) > 0 ? function() : 0;
  if (!records()) return function();
  write_buffered(kWriteIntervalNs);
  int result = make_timed(call, function);
  write_down(call);
  return result;
}

// Only command lines with the platform's tool reach the board. The runs of the tool are calls of their own if the recorder
// sees them; else the line is the call.
int system(const char *command) {
  auto function = [&] { return behind<system>("system")(command); };
  bool is_ours = command != nullptr && strstr(command, "debugCmd") != nullptr;
  if (!is_ours) return function();
  NodeCall call = {.kind = CallKind::Command};
  call.given = {reinterpret_cast<const uint8_t *>(command), strlen(command)};
  if (is_next_recorded(call)) return static_cast<int>(replay(call));
  if (!records() || shell_runs_our_tool(command)) return function();
  int result = make_timed(call, function);
  write_down(call);
  return result;
}

}  // extern "C"
#pragma GCC visibility pop
