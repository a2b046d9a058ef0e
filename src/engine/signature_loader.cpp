#include "engine/signature_loader.h"

#include "base/error.h"
#include "base/files.h"
#include "config/data_paths.h"
#include "signatures/signature_database.h"

namespace korvel::svc {

std::shared_ptr<const SignatureDatabase> loadSignatureDatabase(const SettingsFields& settings,
                                                               std::string* error) {
  auto database = std::make_shared<SignatureDatabase>();
  std::string seedError;
  (void)database->loadFile(settings.signatureDb, &seedError);
  if (const std::wstring live = liveSignaturesPath(); pathExists(live)) {
    (void)database->loadFile(live, /*error=*/nullptr);
  }
  if (database->info().entryCount > 0) return database;
  fail(error, seedError.empty() ? "database is empty" : seedError);
  return nullptr;
}

}  // namespace korvel::svc
