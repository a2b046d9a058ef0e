#include "scan/scan_filter.h"

#include <algorithm>
#include <iterator>
#include <set>
#include <string_view>

#include "base/paths.h"
#include "base/text.h"

namespace korvel {
namespace {

using WordSet = std::set<std::wstring_view>;

constexpr size_t kShortestPath = 5;  // units: "C:\ab"

// Folders and files that nothing is started from. All words are lower-case.
constexpr std::wstring_view kNeverScannedPlaces[] = {L"\\$recycle.bin\\", L"\\system volume information\\"};

constexpr std::wstring_view kSystemDataFiles[] = {
    L"desktop.ini", L"thumbs.db", L"pagefile.sys", L"hiberfil.sys", L"swapfile.sys", L"dumpstack.log.tmp",
};

constexpr std::wstring_view kKernelFiles[] = {
    L"ntoskrnl.exe", L"hal.dll", L"ndis.sys", L"bootvid.dll", L"kdcom.dll", L"win32k.sys", L"ci.dll",
};

// ".jse" is here and ".js" is not.
constexpr std::wstring_view kRiskyExtensions[] = {
    L".exe", L".dll",   L".sys",   L".scr", L".cpl", L".ocx", L".drv", L".com",  L".pif",
    L".msi", L".msp",   L".mst",   L".jar", L".apk", L".bat", L".cmd", L".ps1",  L".vbs",
    L".vbe", L".jse",   L".wsf",   L".wsh", L".hta", L".lnk", L".chm", L".reg",  L".php",
    L".elf", L".dylib", L".class", L".swf", L".iso", L".img", L".vhd", L".vhdx",
};

constexpr std::wstring_view kExcludedDirectories[] = {
    L"c:\\windows\\winsxs",
    L"c:\\windows\\servicing",
    L"c:\\windows\\assembly",
    L"c:\\windows\\microsoft.net",
    L"c:\\windows\\softwaredistribution",
    L"c:\\$recycle.bin",
    L"c:\\system volume information",
    L"c:\\programdata\\microsoft\\windows defender",
    L"c:\\program files\\common files\\microsoft shared",
    L"c:\\windows\\system32\\config",
};

// Windows' own numbers, so that this file needs no platform header.
constexpr uint32_t kAttributeDirectory = 0x10;
constexpr uint32_t kAttributeReparsePoint = 0x400;
constexpr uint32_t kAttributeOffline = 0x1000;
constexpr uint32_t kAttributeRecallOnOpen = 0x4'0000;
constexpr uint32_t kAttributeRecallOnDataAccess = 0x40'0000;
constexpr uint32_t kTagNotTold = 0;
constexpr uint32_t kTagMountPoint = 0xA0000003;
constexpr uint32_t kTagSymbolicLink = 0xA000000C;

bool isRisky(std::wstring_view lowerExtension) {
  static const WordSet extensions(std::begin(kRiskyExtensions), std::end(kRiskyExtensions));
  return extensions.contains(lowerExtension);
}

bool isSystemDataFile(std::wstring_view lowerName) {
  static const WordSet names(std::begin(kSystemDataFiles), std::end(kSystemDataFiles));
  return names.contains(lowerName);
}

bool isKernelFile(std::wstring_view lowerName) {
  static const WordSet names(std::begin(kKernelFiles), std::end(kKernelFiles));
  return names.contains(lowerName);
}

}  // namespace

ScanFilterResult filterFile(const std::wstring& path, const ScanOptions& options) {
  const std::wstring lower = lowerWide(path);
  if (lower.size() < kShortestPath) return ScanFilterResult::kShortPath;
  for (const std::wstring_view place : kNeverScannedPlaces) {
    if (lower.find(place) != std::wstring::npos) return ScanFilterResult::kNeverScannedPlace;
  }
  const std::wstring_view name = fileNameView(lower);
  if (name.empty()) return ScanFilterResult::kNoName;
  if (isSystemDataFile(name)) return ScanFilterResult::kSystemDataFile;
  if (options.skipKernelFiles && isKernelFile(name)) return ScanFilterResult::kKernelFile;
  const size_t dot = name.rfind(L'.');
  if (dot == std::wstring_view::npos) return ScanFilterResult::kNoExtension;
  return isRisky(name.substr(dot)) ? ScanFilterResult::kTaken : ScanFilterResult::kOtherExtension;
}

bool shouldScan(const std::wstring& path, const ScanOptions& options) {
  return filterFile(path, options) == ScanFilterResult::kTaken;
}

std::vector<std::wstring_view> scannedExtensions() {
  return {std::begin(kRiskyExtensions), std::end(kRiskyExtensions)};
}

bool isExcludedDirectory(const std::wstring& lowerPath) {
  // No separator has to follow the prefix: "c:\windows\winsxs-copy" is excluded too.
  return std::any_of(std::begin(kExcludedDirectories), std::end(kExcludedDirectories),
                     [&lowerPath](std::wstring_view prefix) { return lowerPath.starts_with(prefix); });
}

EntryKind classifyEntry(uint32_t attributes, uint32_t reparseTag) {
  if ((attributes & kAttributeReparsePoint) != 0) {
    if (reparseTag == kTagMountPoint) return EntryKind::kJunction;
    // No reparse point has the tag 0; a file system that does not report the tag shows links with it.
    if (reparseTag == kTagSymbolicLink || reparseTag == kTagNotTold) return EntryKind::kSymbolicLink;
  }
  return (attributes & kAttributeDirectory) != 0 ? EntryKind::kDirectory : EntryKind::kFile;
}

bool isContentElsewhere(uint32_t attributes) {
  return (attributes & (kAttributeOffline | kAttributeRecallOnOpen | kAttributeRecallOnDataAccess)) != 0;
}

}  // namespace korvel
