#include <algorithm>

#include "attached.h"
#include "change_text.h"
#include "flash_activity.h"
#include "web.h"

// What is being written to the flash, and of which file.

namespace zelsim::web {

Json writing_document(const FlashActivity &flash) {
  const std::optional<WritingNow> writing = flash.first();
  if (!writing) return {};
  Json document = {
      {"program", writing->program}, {"region", writing->region}, {"written", writing->bytes}, {"left", writing->left}};
  const CopiedFile &file = writing->file;
  if (file.is_known()) document.update({{"file", file.name()}, {"size", file.size()}, {"done", file.done()}});
  return document;
}

Json writing_now(const Watch &watch, const std::filesystem::path &folder) {
  FlashActivity flash;
  uint32_t changes = std::min(watch.logged, uint32_t{kLoggedChanges});
  for (uint32_t place = watch.logged - changes; place != watch.logged; ++place) {
    const Change &change = change_at(watch, place);
    flash.end_quiet(watch, change.at_us);
    if (is_of_flash(change)) {
      flash.take(change);
    } else {
      flash.end_before(change);
    }
  }
  flash.look(watch, folder);
  return writing_document(flash);
}

}  // namespace zelsim::web
