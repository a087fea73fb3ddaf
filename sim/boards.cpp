#include <fcntl.h>
#include <link.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>

#include "system_calls.h"
#include "tool.h"

// Boards as folders, and how a program gets onto one. A new board is built aside and renamed into place, so that nobody
// meets half a board.

namespace zelsim::tool {
namespace {

namespace fs = std::filesystem;

void check(bool done, const std::string &what) {
  if (!done) throw Failure("cannot " + what + ": " + std::strerror(errno));
}

fs::path folder_of(const std::string &name) {
  std::string around = variable("ZELSIM_BOARD_DIR");
  if (name.empty()) return around.empty() ? boards_root() / "default" : fs::absolute(around);
  check_name(name);
  return boards_root() / name;
}

std::shared_ptr<const Attached> attach_or_throw(const fs::path &folder) {
  Attached attached;
  char error[2 * kPathMax];
  if (!attach(folder.c_str(), &attached, error, sizeof error)) throw Failure(error);
  return {new Attached(attached), [](const Attached *old) { detach(*old), delete old; }};
}

std::shared_ptr<const Attached> attach_existing(const fs::path &folder) {
  if (fs::exists(folder)) return attach_or_throw(folder);
  throw Failure("no board in " + folder.native() + " (make it with: zelsim create " + folder.filename().native() + ")");
}

// Power-on states of everything, and an erased flash.
void make_board_files(const std::string &folder) {
  for (const char *file : kNodeFiles) std::ofstream(folder + file).flush();
  fs::resize_file(folder + kFlashFile, kFlashSize);
  auto board = std::make_unique<Board>();
  board->magic = kMagic;
  board->version = kVersion;
  board->size = sizeof(Board);
  power_on(*board);
  std::ofstream state(folder + kStateFile, std::ios::binary);
  state.write(reinterpret_cast<const char *>(board.get()), sizeof(Board)).flush();
  if (!state) throw Failure("cannot write " + folder + kStateFile + ": " + std::strerror(errno));
}

std::error_code make_board(const fs::path &folder, const Words &slots) {
  std::error_code failed;
  fs::create_directories(boards_root(), failed);
  std::string fresh = boards_root() / ".new-XXXXXX";
  check(mkdtemp(fresh.data()) != nullptr, "make " + fresh);
  std::shared_ptr<void> removed_in_the_end(nullptr, [&](void *) { fs::remove_all(fresh, failed); });
  make_board_files(fresh);
  auto attached = attach_or_throw(fresh);
  for (unsigned slot = 0; slot < slots.size(); ++slot)
    fit(*attached->board, slot, static_cast<uint8_t>(choice(slots[slot], "--slots", kBoardTypes)));
  fs::permissions(fresh, fs::perms(0755));
  fs::rename(fresh, folder, failed);
  return failed;
}

void put(const char *name, const std::string &value) { setenv(name, value.c_str(), 1); }

void put_first(const char *name, const std::string &value) {
  std::string rest = variable(name);
  if (!rest.empty()) rest.insert(0, 1, ':');
  if (!(rest + ":").starts_with(":" + value + ":")) put(name, value + rest);
}

// A trace tells one run: an older file is emptied.
std::string trace_target(const std::string &file) {
  if (file.empty() || file == "-") return "-";
  if (std::ofstream(file)) return fs::absolute(file);
  throw Usage("--trace: cannot write '" + file + "': " + std::strerror(errno));
}

// Where the loader of the next program looks for it; the name itself when nowhere.
std::string found(const std::string &program) {
  Words folders = program.find('/') == std::string::npos ? split(variable("PATH"), ':') : Words{};
  for (const std::string &folder : folders)
    if (std::string file = folder + '/' + program; access(file.c_str(), X_OK) == 0) return file;
  return program;
}

// An ELF program whose headers name no interpreter: nothing is preloaded into it.
bool is_static(const std::string &program) {
  std::ifstream file(program, std::ios::binary);
  ElfW(Ehdr) head = {};
  ElfW(Phdr) part = {};
  file.read(reinterpret_cast<char *>(&head), sizeof head).seekg(static_cast<std::streamoff>(head.e_phoff));
  bool ours = memcmp(head.e_ident, ELFMAG, SELFMAG) == 0 && head.e_phentsize == sizeof part;
  for (; ours && head.e_phnum > 0 && file.read(reinterpret_cast<char *>(&part), sizeof part); --head.e_phnum)
    if (part.p_type == PT_INTERP) return false;
  return ours;
}

std::string inverted(std::string bytes) {
  for (char &byte : bytes) byte = static_cast<char>(~byte);
  return bytes;
}

int image_of(const OpenBoard &board) {
  int fd = open((board.folder.native() + kFlashFile).c_str(), O_RDWR | O_CLOEXEC);
  check(fd >= 0, "open the flash image");
  return fd;
}

// Room is taken before anything changes: a full disk leaves the old contents.
void store(OpenBoard &board, const std::string &image, off_t at = 0) {
  sys::File file(image_of(board));
  size_t used = image.find_last_not_of('\0') + 1;
  off_t rest = at + static_cast<off_t>(used), size = static_cast<off_t>(image.size() - used);
  bool room = used == 0 || fallocate(file.get(), 0, at, static_cast<off_t>(used)) == 0 || errno == EOPNOTSUPP;
  check(room && sys::pwrite(file.get(), image.data(), used, at) == static_cast<ssize_t>(used), "write the flash image");
  bool holes = size == 0 || fallocate(file.get(), FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, rest, size) == 0;
  check(holes || sys::pwrite(file.get(), &image[used], image.size() - used, rest) == size, "write the flash image");
  ++board->watch.reflashed;
}

}  // namespace

void check_name(const std::string &name) {
  constexpr char kPlain[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_.-";
  if (name.empty() || name.size() > 64 || name[0] == '.' || name[0] == '-' ||
      name.find_first_not_of(kPlain) != std::string::npos)
    throw Usage("NAME: '" + name + "' is no board's name (letters, digits, '.', '_', '-', 64 at most)");
}

fs::path boards_root() {
  if (std::string home = variable("ZELSIM_HOME"); !home.empty()) return fs::absolute(home);
  if (std::string state = variable("XDG_STATE_HOME"); !state.empty()) return fs::absolute(state) / "zelsim";
  if (std::string home = variable("HOME"); !home.empty()) return fs::absolute(home) / ".local/state/zelsim";
  throw Failure("neither ZELSIM_HOME, XDG_STATE_HOME nor HOME is set");
}

OpenBoard open_board(const std::string &name, bool make_missing, Intent intent) {
  fs::path folder = folder_of(name);
  if (make_missing && !fs::exists(folder)) {
    if (!name.empty()) std::fprintf(stderr, "zelsim: makes board '%s', which was missing\n", name.c_str());
    make_board(folder, {});  // another process may be first
  }
  auto attached = attach_existing(folder);
  return {folder, attached, Guard(*attached->board, intent)};
}

fs::path library_folder() { return fs::canonical("/proc/self/exe").parent_path().parent_path() / "lib/zelboard"; }

void create_board(const Line &line) {
  fs::path folder = folder_of(line.name().empty() ? "default" : line.name());
  Words slots = split(line.slots, ',');
  if (slots.size() > kSlots) throw Usage("--slots: '" + line.slots + "' names more than 3 boards");
  std::error_code failed = make_board(folder, slots);
  std::string why = fs::exists(folder) ? "it exists already" : failed.message();
  if (failed) throw Failure("cannot make board " + folder.native() + ": " + why);
}

void reset_board(const Line &line) {
  if (line.flash) erase_flash({line.name()});
  power_on(*open_board(line.name()));
}

void delete_board(const Line &line) {
  fs::path folder = folder_of(line.name());
  if (!fs::exists(folder)) throw Failure("no board in " + folder.native());
  // Processes that still have it mapped learn from the missing magic number that it is gone. A damaged one has no
  // readers.
  Attached attached;
  char ignored[2 * kPathMax];
  if (attach(folder.c_str(), &attached, ignored, sizeof ignored)) {
    attached.board->magic = 0;
    announce_change(*attached.board);
  }
  for (const char *file : {kStateFile, kNodeFiles[0], kNodeFiles[1], kNodeFiles[2]}) fs::remove(folder.native() + file);
  fs::remove(folder);
}

void load_flash(const Line &line) {
  auto [start, size] = flash_range(line.region);
  std::vector<uint8_t> content = read_file(line.words[0], size);
  content.resize(size, 0xff);  // what the file does not reach is erased
  OpenBoard board = open_board(line.board);
  store(board, inverted({content.begin(), content.end()}), start);
}

void save_flash(const Line &line) {
  auto [start, size] = flash_range(line.region);
  std::string content(size, '\0');
  bool whole =
      sys::pread(sys::File(image_of(open_board(line.board))).get(), content.data(), size, start) == std::ssize(content);
  check(whole, "read the flash image");
  write_output(line.words[0], bytes_of(inverted(std::move(content))));
}

void erase_flash(const Line &line) {
  OpenBoard board = open_board(line.board);
  store(board, std::string(kFlashSize, '\0'));
  Flash &flash = board->flash;
  flash = {flash.chip_index, flash.debug, 0, {}, {}, 0, 0};
}

void run(const Line &line) {
  if (line.words.empty()) throw Usage("PROGRAM: missing, see zelsim run --help");
  fs::path folder = open_board(line.board, true).folder;
  fs::path library = library_folder();
  std::string preload = library / "libzelsim.so";
  if (!fs::exists(preload)) throw Failure("cannot find " + preload);
  bool loadable = preload.find_first_of(" :") == std::string::npos;
  if (!loadable) throw Failure("the loader preloads nothing from a folder with a blank or a colon: " + preload);
  put("ZELSIM_BOARD_DIR", folder);
  put("ZELSIM_TRACE_OPENS", line.trace_opens ? "1" : "0");
  put("ZELSIM_FAST", line.fast ? "1" : "0");
  put("ZELSIM_CHIP_TIMES", line.chip_times ? "1" : "0");
  put_first("PATH", library);
  put_first("LD_PRELOAD", preload);
  // A program with the address sanitizer otherwise refuses to start behind any preloaded library.
  put_first("ASAN_OPTIONS", "verify_asan_link_order=0");
  std::string program = found(line.words[0]);
  bool runs = access(program.c_str(), X_OK) == 0;
  put("ZELSIM_TRACE", line.trace && runs ? trace_target(*line.trace) : "");
  if (runs && is_static(program))
    std::fprintf(stderr, "zelsim: PROGRAM: '%s' is linked statically: it will not see the board\n",
                 escaped(program).c_str());
  std::vector<char *> arguments;
  for (const std::string &word : line.words) arguments.push_back(const_cast<char *>(word.c_str()));
  arguments.push_back(nullptr);
  execvp(arguments[0], arguments.data());
  int status = errno == ENOENT ? 127 : 126;  // as a shell has it
  std::fprintf(stderr, "zelsim: PROGRAM: cannot run '%s': %s\n", escaped(program).c_str(), std::strerror(errno));
  std::exit(status);
}

void serve(const Line &line) {
  std::string program = library_folder() / "zelboard-web", board = line.name();
  number(line.port, "--port", 0, 65535);
  open_board(board, true);
  execl(program.c_str(), program.c_str(), board.c_str(), line.port.c_str(), line.listen.c_str(), line.token.c_str(),
        nullptr);
  throw Failure("serve: cannot run " + program + ", which the package zelboard-web brings: " + std::strerror(errno));
}

}  // namespace zelsim::tool
