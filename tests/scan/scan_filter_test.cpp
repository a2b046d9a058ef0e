#include "scan/scan_filter.h"

#include <gtest/gtest.h>

#include "base/utf.h"

namespace korvel {
namespace {

bool scanned(const std::wstring& path) { return shouldScan(path, ScanOptions{}); }

TEST(ShouldScan, TakesEveryRiskyExtension) {
  for (const wchar_t* extension :
       {L".exe", L".dll",   L".sys",   L".scr", L".cpl", L".ocx", L".drv", L".com", L".pif",
        L".msi", L".msp",   L".mst",   L".jar", L".apk", L".bat", L".cmd", L".ps1", L".vbs",
        L".vbe", L".jse",   L".wsf",   L".wsh", L".hta", L".lnk", L".chm", L".reg", L".php",
        L".elf", L".dylib", L".class", L".swf", L".iso", L".img", L".vhd", L".vhdx"}) {
    EXPECT_TRUE(scanned(std::wstring(L"C:\\x\\name") + extension)) << toUtf8(extension);
    EXPECT_FALSE(scanned(std::wstring(L"C:\\x\\name") + extension + L"_")) << toUtf8(extension);
  }
}

TEST(ShouldScan, IgnoresCase) {
  EXPECT_TRUE(scanned(L"C:\\X\\TOOL.EXE"));
  EXPECT_FALSE(scanned(L"C:\\X\\DeskTop.INI"));
  EXPECT_FALSE(scanned(L"C:\\WINDOWS\\SYSTEM32\\NTOSKRNL.EXE"));
}

TEST(ShouldScan, LeavesOtherFilesOut) {
  for (const wchar_t* name :
       {L"readme", L"photo.jpg", L"script.js", L"a.txt", L"a.zip", L"a.exe.bak", L"a.", L"exe"}) {
    EXPECT_FALSE(scanned(std::wstring(L"C:\\x\\") + name)) << toUtf8(name);
  }
}

TEST(ShouldScan, TakesTheExtensionFromTheLastDotOfTheName) {
  EXPECT_TRUE(scanned(L"C:\\x\\photo.jpg.exe"));
  EXPECT_TRUE(scanned(L"C:\\x\\.exe"));
  EXPECT_FALSE(scanned(L"C:\\x.exe\\readme"));
}

TEST(ShouldScan, WantsAPathOfFiveCharacters) {
  EXPECT_FALSE(scanned(L"a.ps"));
  EXPECT_FALSE(scanned(L".exe"));
  EXPECT_TRUE(scanned(L"a.exe"));
  EXPECT_FALSE(scanned(L""));
}

TEST(ShouldScan, WantsAFileName) { EXPECT_FALSE(scanned(L"C:\\folder.exe\\")); }

TEST(ShouldScan, LeavesRecycleBinAndVolumeInformationOutAnywhere) {
  EXPECT_FALSE(scanned(L"C:\\$Recycle.Bin\\S-1-5\\a.exe"));
  EXPECT_FALSE(scanned(L"D:\\x\\$RECYCLE.BIN\\a.exe"));
  EXPECT_FALSE(scanned(L"E:\\System Volume Information\\a.exe"));
  EXPECT_TRUE(scanned(L"C:\\$Recycle.Bin2\\a.exe"));
  EXPECT_TRUE(scanned(L"C:\\$recycle.bin.exe"));
  EXPECT_TRUE(scanned(L"C:\\my system volume information\\a.exe"));
}

TEST(ShouldScan, LeavesSystemDataFilesOut) {
  // The names count before the extension does: some of them would be risky.
  for (const wchar_t* name : {L"desktop.ini", L"thumbs.db", L"pagefile.sys", L"hiberfil.sys", L"swapfile.sys",
                              L"dumpstack.log.tmp"}) {
    EXPECT_FALSE(scanned(std::wstring(L"C:\\") + name)) << toUtf8(name);
  }
  EXPECT_TRUE(scanned(L"C:\\xpagefile.sys"));
}

TEST(ShouldScan, LeavesKernelFilesOutOnlyWhenAskedTo) {
  ScanOptions all;
  all.skipKernelFiles = false;
  for (const wchar_t* name :
       {L"ntoskrnl.exe", L"hal.dll", L"ndis.sys", L"bootvid.dll", L"kdcom.dll", L"win32k.sys", L"ci.dll"}) {
    const std::wstring path = std::wstring(L"C:\\Windows\\System32\\") + name;
    EXPECT_FALSE(shouldScan(path, ScanOptions{})) << toUtf8(name);
    EXPECT_TRUE(shouldScan(path, all)) << toUtf8(name);
  }
  EXPECT_FALSE(shouldScan(L"C:\\pagefile.sys", all));
  EXPECT_TRUE(scanned(L"C:\\Windows\\System32\\ci2.dll"));
}

TEST(IsExcludedDirectory, CoversEachPrefixItsChildrenAndItsSiblings) {
  for (const wchar_t* prefix :
       {L"c:\\windows\\winsxs", L"c:\\windows\\servicing", L"c:\\windows\\assembly",
        L"c:\\windows\\microsoft.net", L"c:\\windows\\softwaredistribution", L"c:\\$recycle.bin",
        L"c:\\system volume information", L"c:\\programdata\\microsoft\\windows defender",
        L"c:\\program files\\common files\\microsoft shared", L"c:\\windows\\system32\\config"}) {
    const std::wstring directory(prefix);
    EXPECT_TRUE(isExcludedDirectory(directory)) << toUtf8(prefix);
    EXPECT_TRUE(isExcludedDirectory(directory + L"\\child"));
    EXPECT_TRUE(isExcludedDirectory(directory + L"-sibling"));
    EXPECT_FALSE(isExcludedDirectory(directory.substr(0, directory.size() - 1)));
    EXPECT_FALSE(isExcludedDirectory(L"d" + directory.substr(1)));
    EXPECT_FALSE(isExcludedDirectory(L"\\\\?\\" + directory));
  }
}

TEST(IsExcludedDirectory, SparesTheRest) {
  for (const wchar_t* path : {L"", L"c:\\", L"c:\\windows", L"c:\\windows\\system32", L"c:\\program files"}) {
    EXPECT_FALSE(isExcludedDirectory(path)) << toUtf8(path);
  }
}

TEST(IsExcludedDirectory, LeavesLowerCasingToTheCaller) {
  EXPECT_FALSE(isExcludedDirectory(L"C:\\Windows\\WinSxS"));
}

constexpr uint32_t kDirectoryBit = 0x10;
constexpr uint32_t kArchiveBit = 0x20;
constexpr uint32_t kReparseBit = 0x400;

TEST(ClassifyEntry, TellsFilesFromDirectories) {
  EXPECT_EQ(classifyEntry(kArchiveBit, 0), EntryKind::kFile);
  EXPECT_EQ(classifyEntry(0, 0), EntryKind::kFile);
  EXPECT_EQ(classifyEntry(kDirectoryBit, 0), EntryKind::kDirectory);
}

TEST(ClassifyEntry, KnowsLinksAndJunctionsByTheirTags) {
  EXPECT_EQ(classifyEntry(kReparseBit | kArchiveBit, 0xA000000C), EntryKind::kSymbolicLink);
  EXPECT_EQ(classifyEntry(kReparseBit | kDirectoryBit, 0xA000000C), EntryKind::kSymbolicLink);
  EXPECT_EQ(classifyEntry(kReparseBit | kDirectoryBit, 0xA0000003), EntryKind::kJunction);
}

TEST(ClassifyEntry, TakesAReparsePointWithoutATagForALink) {
  EXPECT_EQ(classifyEntry(kReparseBit | kDirectoryBit, 0), EntryKind::kSymbolicLink);
}

TEST(ClassifyEntry, TakesOtherReparsePointsForWhatTheyHold) {
  // A file kept in the cloud, a deduplicated file, a program alias of the store.
  for (const uint32_t tag : {0x9000001Au, 0x80000013u, 0x8000001Bu}) {
    EXPECT_EQ(classifyEntry(kReparseBit | kArchiveBit, tag), EntryKind::kFile);
    EXPECT_EQ(classifyEntry(kReparseBit | kDirectoryBit, tag), EntryKind::kDirectory);
  }
}

TEST(ClassifyEntry, IgnoresTheTagOfAnOrdinaryEntry) {
  EXPECT_EQ(classifyEntry(kDirectoryBit, 0xA000000C), EntryKind::kDirectory);
  EXPECT_EQ(classifyEntry(kArchiveBit, 0xA0000003), EntryKind::kFile);
}

TEST(IsContentElsewhere, KnowsOfflineFilesAndThoseThatAreFetchedWhenUsed) {
  EXPECT_TRUE(isContentElsewhere(0x1000));
  EXPECT_TRUE(isContentElsewhere(0x4'0000));
  EXPECT_TRUE(isContentElsewhere(0x40'0000 | kReparseBit | kArchiveBit));
  EXPECT_FALSE(isContentElsewhere(~(0x1000u | 0x4'0000u | 0x40'0000u)));
  EXPECT_FALSE(isContentElsewhere(0));
}

TEST(FilterFile, SaysWhyAFileIsPassedOver) {
  using enum ScanFilterResult;
  const std::pair<const wchar_t*, ScanFilterResult> cases[] = {
      {L"C:\\x\\a.exe", kTaken},
      {L"a.ps", kShortPath},
      {L"C:\\$Recycle.Bin\\S-1\\a.exe", kNeverScannedPlace},
      {L"C:\\folder.exe\\", kNoName},
      {L"C:\\PageFile.sys", kSystemDataFile},
      {L"C:\\Windows\\System32\\ntoskrnl.exe", kKernelFile},
      {L"C:\\x\\readme", kNoExtension},
      {L"C:\\x\\script.js", kOtherExtension},
      {L"C:\\x\\eicar.com.txt", kOtherExtension},
  };
  for (const auto& [path, result] : cases) EXPECT_EQ(filterFile(path, ScanOptions{}), result) << toUtf8(path);
  EXPECT_EQ(filterFile(L"C:\\x\\ntoskrnl.exe", ScanOptions{.skipKernelFiles = false}), kTaken);
}

TEST(ScannedExtensions, AreThirtyFiveAndEachIsScanned) {
  const std::vector<std::wstring_view> extensions = scannedExtensions();
  EXPECT_EQ(extensions.size(), 35u);
  for (const std::wstring_view extension : extensions)
    EXPECT_TRUE(scanned(L"C:\\x\\name" + std::wstring(extension)));
}

}  // namespace
}  // namespace korvel
