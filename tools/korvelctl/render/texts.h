// Numbers, sizes, times and severities as people read them. Pure and thread-safe. UTF-8, no line ends.
#pragma once

#include <cstdint>
#include <string>

#include "korvelctl/cli/text.h"
#include "korvelctl/render/look.h"
#include "records/severity.h"

namespace korvel::ctl {

/// "214,906", "214 906" with a no-break space in Russian.
std::string numberText(uint64_t number, Language language);
/// One digit behind the point or comma.
std::string decimalText(double number, Language language);
/// "1 file", "2 файла".
std::string countText(uint64_t count, const Plural& noun, Language language);
/// "68 B", "1.5 KiB", "196 KiB"; "68 Б", "1,5 КБ". Units of 1024.
std::string bytesText(uint64_t bytes, Language language);
/// "84 MiB/s"; "84 МБ/с".
std::string speedText(double bytesPerSecond, Language language);
/// "00:23", "01:02", "1:05:00".
std::string clockText(uint64_t seconds);
/// "850 ms", "1.5 s", "2 min 5 s", "3 h 4 min".
std::string durationText(uint64_t milliseconds, Language language);
/// How long ago or how old, in the largest unit that is full: "45 s", "9 h", "3 days"; "9 ч", "3 дня".
std::string ageText(uint64_t seconds, Language language);
/// "2026-11-21 07:12"; "21.11.2026 07:12". Local time where `look` has it, otherwise UTC and marked so.
std::string timeText(uint64_t utc, const Look& look);
/// "2026-11-20T21:40:12Z"
std::string isoUtc(uint64_t utc);
/// "high"; "высокий".
std::string severityText(Severity severity, Language language);
/// The same in the colour of the severity, where `look` has colours.
std::string colored(const std::string& text, Severity severity, const Look& look);

/// "on" or "off".
const char* onOffText(bool on, Language language);

}  // namespace korvel::ctl
