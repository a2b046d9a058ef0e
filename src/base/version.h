// Names and numbers of the product that several rooms print.
#pragma once

namespace korvel {

inline constexpr wchar_t kServiceVersion[] = L"1.2.0";
inline constexpr wchar_t kProductName[] = L"KORVEL Antivirus";
inline constexpr wchar_t kServiceName[] = L"KorvelService";

}  // namespace korvel
