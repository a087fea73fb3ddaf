#include "archive.h"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <numeric>
#include <utility>

#include "program.h"

constexpr int kGzip = 16;  // added to the window bits: a gzip header instead of zlib's own
constexpr int kWindowBits = 15;

struct GzipWriter::Stream : z_stream {};

GzipWriter::GzipWriter(Sink sink, int level) : sink_(std::move(sink)), stream_(std::make_unique<Stream>()) {
  constexpr int kMemoryLevel = 8;
  const int result =
      deflateInit2(stream_.get(), level, Z_DEFLATED, kGzip + kWindowBits, kMemoryLevel, Z_DEFAULT_STRATEGY);
  if (result != Z_OK) throw Failure{"no memory to compress with"};
}

GzipWriter::~GzipWriter() { deflateEnd(stream_.get()); }

void GzipWriter::pass(Bytes bytes, int flush) {
  std::array<uint8_t, 0x8000> room;
  stream_->next_in = const_cast<uint8_t *>(bytes.data());
  stream_->avail_in = static_cast<uInt>(bytes.size());
  do {
    stream_->next_out = room.data();
    stream_->avail_out = room.size();
    deflate(stream_.get(), flush);
    sink_({room.data(), room.size() - stream_->avail_out});
  } while (stream_->avail_out == 0);
}

void GzipWriter::write(Bytes bytes) { pass(bytes, Z_NO_FLUSH); }

void GzipWriter::finish() { pass({}, Z_FINISH); }

constexpr size_t kBlock = 512;

constexpr char kFile = '0';  // a type of entry

/** A file's header. Texts fill their fields or end with a NUL; numbers are octal. */
struct Header {
  char name[100];
  char mode[8];
  char uid[8];
  char gid[8];
  char size[12];
  char mtime[12];
  char checksum[8];
  char type;
  char link[100];
  char magic[6];
  char version[2];
  char owner[32];
  char group[32];
  char major[8];
  char minor[8];
  char prefix[155];
  char unused[12];
};
static_assert(sizeof(Header) == kBlock);

template <size_t Size>
static void put_cut_text(char (&field)[Size], const std::string &text) {
  std::memcpy(field, text.data(), std::min(text.size(), Size));
}

template <size_t Size>
static void put_number(char (&field)[Size], uint64_t number) {
  std::snprintf(field, Size, "%0*llo", static_cast<int>(Size - 1), static_cast<unsigned long long>(number));
}

/** The sum of all bytes of the header. Its own field counts as blanks. */
static void put_checksum(Header &header) {
  std::memset(header.checksum, ' ', sizeof header.checksum);
  const auto *bytes = reinterpret_cast<const uint8_t *>(&header);
  std::snprintf(header.checksum, sizeof header.checksum, "%06o", std::accumulate(bytes, bytes + kBlock, 0U));
}

TarWriter::TarWriter(Sink sink, std::string folder, std::time_t time)
    : sink_(std::move(sink)), folder_(std::move(folder)), time_(time) {}

void TarWriter::begin(const std::string &name, uint64_t size) {
  fill_block();
  Header header{};
  if (name.size() > sizeof header.name || folder_.size() > sizeof header.prefix)
    throw Failure{"'" + folder_ + "/" + name + "' is too long a name for an archive"};
  put_cut_text(header.name, name);
  put_cut_text(header.prefix, folder_);
  put_number(header.mode, 0644);
  put_number(header.uid, 0);
  put_number(header.gid, 0);
  put_number(header.size, size);
  put_number(header.mtime, static_cast<uint64_t>(time_));
  header.type = kFile;
  put_cut_text(header.magic, "ustar");
  put_cut_text(header.version, "00");
  put_cut_text(header.owner, "root");
  put_cut_text(header.group, "root");
  put_checksum(header);
  sink_({reinterpret_cast<const uint8_t *>(&header), kBlock});
}

void TarWriter::write(Bytes bytes) {
  sink_(bytes);
  written_ += bytes.size();
}

void TarWriter::add(const std::string &name, Bytes bytes) {
  begin(name, bytes.size());
  write(bytes);
}

/** A file's last block is filled up before the next header. */
void TarWriter::fill_block() {
  constexpr uint8_t kZeros[kBlock] = {};
  const auto used = static_cast<size_t>(written_ % kBlock);
  if (used != 0) sink_({kZeros, kBlock - used});
  written_ = 0;
}

void TarWriter::finish() {
  constexpr uint8_t kEnd[2 * kBlock] = {};
  fill_block();
  sink_(kEnd);
}

Unpacked unpack_what_is_there(std::vector<uint8_t> bytes, size_t most) {
  const bool is_packed = bytes.size() > 2 && bytes[0] == 0x1F && bytes[1] == 0x8B;
  if (!is_packed) return {std::move(bytes), true};
  z_stream stream{};
  if (inflateInit2(&stream, kGzip + kWindowBits) != Z_OK) throw Failure{"no memory to unpack with"};
  stream.next_in = bytes.data();
  stream.avail_in = static_cast<uInt>(bytes.size());
  std::vector<uint8_t> all;
  std::array<uint8_t, 0x8000> piece;
  int result = Z_OK;
  while (result == Z_OK && all.size() <= most) {
    stream.next_out = piece.data();
    stream.avail_out = piece.size();
    result = inflate(&stream, Z_NO_FLUSH);
    all.insert(all.end(), piece.begin(), piece.end() - stream.avail_out);
  }
  inflateEnd(&stream);
  if (all.size() > most) throw Failure{"the compressed file holds too much"};
  const bool is_cut_off = result == Z_BUF_ERROR;
  if (result != Z_STREAM_END && !is_cut_off) throw Failure{"the compressed file is damaged"};
  return {std::move(all), !is_cut_off};
}

std::vector<uint8_t> unpack_whole(std::vector<uint8_t> bytes, size_t most) {
  Unpacked all = unpack_what_is_there(std::move(bytes), most);
  if (!all.is_whole) throw Failure{"the compressed file is cut off"};
  return std::move(all.bytes);
}

template <size_t Size>
static std::string text_in(const char (&field)[Size]) {
  return std::string(field, strnlen(field, Size));
}

template <size_t Size>
static uint64_t octal_in(const char (&field)[Size]) {
  constexpr int kOctal = 8;
  return std::strtoull(text_in(field).c_str(), nullptr, kOctal);
}

static bool checksum_holds(const Header &header) {
  Header summed = header;
  put_checksum(summed);
  return octal_in(header.checksum) == octal_in(summed.checksum);
}

/** The name without the folder. The folder is in the field `prefix`, or it is the first part of the name. */
static std::string name_in(const Header &header) {
  std::string name = text_in(header.name);
  const bool folder_is_in_name = header.prefix[0] == '\0';
  const size_t slash = name.find('/');
  if (folder_is_in_name && slash != std::string::npos) name.erase(0, slash + 1);
  return name;
}

static Failure damaged_archive() { return Failure("the archive is cut off or damaged"); }

ArchivedFiles files_of_tar(Bytes archive) {
  ArchivedFiles files;
  for (;;) {
    if (archive.size() < kBlock) throw damaged_archive();
    Header header;
    std::memcpy(&header, archive.data(), kBlock);
    const bool is_end = header.name[0] == '\0';
    if (is_end) return files;
    if (!checksum_holds(header)) throw damaged_archive();
    archive = archive.subspan(kBlock);
    const uint64_t told_size = octal_in(header.size);
    if (told_size > archive.size()) throw damaged_archive();
    const Bytes content = archive.first(static_cast<size_t>(told_size));
    files[name_in(header)].assign(content.begin(), content.end());  // what is no file has no content, or another name
    const size_t padded_size = (content.size() + kBlock - 1) / kBlock * kBlock;
    archive = archive.subspan(std::min(padded_size, archive.size()));  // the next header is missing if this cuts it off
  }
}
