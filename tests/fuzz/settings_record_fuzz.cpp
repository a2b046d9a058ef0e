// The fifteen-field settings record, decoded over the defaults.
#include "fuzz/payload_input.h"
#include "protocol/messages.h"

using namespace korvel;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const auto decode = [](const std::string& payload) {
    return ipc::decodeSettings(payload, SettingsFields());
  };
  const std::string payload = fuzz::payloadOf(data, size);
  fuzz::checkRoundTrip(payload, decode, ipc::encodeSettings);
  const auto settings = decode(payload);
  fuzz::require(!settings || (settings->scheduledHour < 24 && settings->updateServer.empty()));
  const auto wanted = ipc::decodeSetConfig(payload);
  fuzz::require(!wanted || wanted == settings);
  fuzz::require(!wanted || wanted->signatureDb.find(L'\n') == std::wstring::npos);
  return 0;
}
