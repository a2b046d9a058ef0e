// The web shield's block in the system's hosts file (see hosts_block.h), which is replaced as a whole so that
// no program ever reads it half-written. A read-only file is replaced too and loses that attribute.
//
// Takes no lock: call it from one thread at a time. Every function throws std::bad_alloc where the file does
// not fit into memory. `error` may be null and is written only on failure. A hosts file that is held is tried
// again for half a second, which `stop` ends.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/stop.h"

namespace korvel {

/// "System32\drivers\etc\hosts" in the Windows directory.
std::wstring hostsFilePath();

/// Replaces any block by one for `domains`; a missing hosts file is created. A hosts file that exists but
/// cannot be read is left alone and fails, since its lines would be lost. A file that reads so already is not
/// written.
bool applyBlocklist(const std::vector<std::string>& domains, std::string* error, const StopToken& stop = {});

/// Removes the block. Returns true without a write when the file mentions no marker or cannot be read.
bool removeBlocklist(std::string* error, const StopToken& stop = {});

/// The number of entries in the block; 0 when the file cannot be read.
uint64_t countBlockedEntries();

/// The same for the hosts file at `hosts`.
bool applyBlocklistTo(const std::wstring& hosts, const std::vector<std::string>& domains, std::string* error,
                      const StopToken& stop = {});
bool removeBlocklistFrom(const std::wstring& hosts, std::string* error, const StopToken& stop = {});
uint64_t countBlockedEntriesIn(const std::wstring& hosts);

}  // namespace korvel
