#include "engine/signature_loader.h"

#include <utility>

#include "base/error.h"
#include "base/files.h"
#include "base/linked_stop.h"
#include "base/sizes.h"
#include "config/data_paths.h"
#include "runtime/stop_signal.h"
#include "signatures/signature_database.h"

namespace korvel::svc {
namespace {

constexpr uint64_t kMaxLiveBytes = 512 * kMiB;  // the writer stops at four million digests, 260 MB

}  // namespace

LoadedSignatures loadSignatureDatabase(const SettingsFields& settings, std::string* error,
                                       const StopToken& engineStop) {
  // The engine's stop comes only after the pipe thread has ended, and that thread may be the one that loads.
  LinkedStop loading(engineStop);
  const StopCallback atProcessStop(StopSignal::process().token(), [&loading] { loading.request(); });
  const StopToken stop = loading.token();

  auto database = std::make_shared<SignatureDatabase>();
  std::string seedError;
  bool whole = database->loadFile(settings.signatureDb, &seedError, stop);
  if (const std::wstring live = liveSignaturesPath(); pathExists(live)) {
    whole = database->loadFile(live, /*error=*/nullptr, stop, kMaxLiveBytes) && whole;
  }
  LoadedSignatures loaded;
  loaded.cutByStop = !whole && stop.stop_requested();
  if (database->info().entryCount > 0)
    loaded.database = std::move(database);
  else
    fail(error, seedError.empty() ? "database is empty" : seedError);
  return loaded;
}

}  // namespace korvel::svc
