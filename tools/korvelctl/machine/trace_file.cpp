#include "korvelctl/machine/trace_file.h"

#include "base/files.h"
#include "base/long_path.h"
#include "protokit/exchange_vector.h"

namespace korvel::ctl {

bool TraceFile::open(const std::wstring& path) {
  file_.reset(::CreateFileW(forFileApi(path).c_str(), GENERIC_WRITE, FILE_SHARE_READ,
                            /*security=*/nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL,
                            /*template=*/nullptr));
  return static_cast<bool>(file_);
}

void TraceFile::add(const ipc::Frame& request, const ipc::Frame* reply, const char* result,
                    uint64_t milliseconds) {
  if (!file_) return;
  auto vector = kit::exchangeVector(request, reply);
  vector["result"] = result;
  vector["milliseconds"] = milliseconds;
  const std::string line = vector.dump() + "\n";
  (void)writeAll(file_.get(), line);
}

}  // namespace korvel::ctl
