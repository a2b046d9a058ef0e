#include "engine/signature_loader.h"

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

std::shared_ptr<const SignatureDatabase> loadSignatureDatabase(const SettingsFields& settings,
                                                               std::string* error,
                                                               const StopToken& engineStop) {
  // The engine's stop comes only after the pipe thread has ended, and that thread may be the one that loads.
  LinkedStop loading(engineStop);
  const StopCallback atProcessStop(StopSignal::process().token(), [&loading] { loading.request(); });
  const StopToken stop = loading.token();

  auto database = std::make_shared<SignatureDatabase>();
  std::string seedError;
  (void)database->loadFile(settings.signatureDb, &seedError, stop);
  if (const std::wstring live = liveSignaturesPath(); pathExists(live)) {
    (void)database->loadFile(live, /*error=*/nullptr, stop, kMaxLiveBytes);
  }
  if (database->info().entryCount > 0) return database;
  fail(error, seedError.empty() ? "database is empty" : seedError);
  return nullptr;
}

}  // namespace korvel::svc
