#include "korvelctl/update_report.h"

#include "korvelctl/printable.h"
#include "korvelctl/render.h"

namespace korvel::ctl {
namespace {

using Json = nlohmann::ordered_json;

}  // namespace

UpdateReport startedReport(const std::string& what) { return {what + "\n", "", Json{{"done", what}}}; }

UpdateReport signaturesReport(const EngineStatus& status, uint64_t before, uint64_t after) {
  UpdateReport report;
  const bool updated = after != before;
  report.json = Json{{"updated", updated},
                     {"signatures", status.signatureCount},
                     {"signatureVersion", status.signatureVersion},
                     {"lastLiveUpdateUtc", after}};
  if (updated) {
    report.text = "signatures updated: " + renderSignatures(status) + "\n";
  } else {
    report.failure =
        "the live update failed and the signatures stay as they were; the service does not tell clients why";
  }
  return report;
}

UpdateReport programReport(const EngineStatus& status) {
  UpdateReport report;
  const bool failed = !status.updateCheckError.empty();
  const bool saved = !status.updateCheckInstaller.empty();
  report.json = Json{{"upToDate", !failed && !saved},
                     {"installer", status.updateCheckInstaller},
                     {"error", status.updateCheckError}};
  if (failed) {
    report.failure = "the update check failed: " + status.updateCheckError;
  } else if (saved) {
    report.text = "installer saved: " + printable(status.updateCheckInstaller) + "\n";
  } else {
    report.text = "up to date: version " + printable(status.serviceVersion) + "\n";
  }
  return report;
}

}  // namespace korvel::ctl
