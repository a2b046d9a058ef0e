#include "service/process_hardening.h"

#include "base/win.h"

namespace korvel::svc {
namespace {

void refuseExtensionPoints() {
  PROCESS_MITIGATION_EXTENSION_POINT_DISABLE_POLICY policy{};
  policy.DisableExtensionPoints = 1;
  (void)::SetProcessMitigationPolicy(ProcessExtensionPointDisablePolicy, &policy, sizeof policy);
}

void refuseForeignImages() {
  PROCESS_MITIGATION_IMAGE_LOAD_POLICY policy{};
  policy.NoRemoteImages = 1;
  policy.NoLowMandatoryLabelImages = 1;
  policy.PreferSystem32Images = 1;
  (void)::SetProcessMitigationPolicy(ProcessImageLoadPolicy, &policy, sizeof policy);
}

}  // namespace

void hardenProcess() {
  (void)::SetDefaultDllDirectories(LOAD_LIBRARY_SEARCH_SYSTEM32);
  refuseExtensionPoints();
  refuseForeignImages();
}

}  // namespace korvel::svc
