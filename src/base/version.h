// The product's version and names.
#pragma once

namespace korvel {

/// The version of everything built from this tree. The build reads this line too
/// (cmake/korvel_version.cmake).
inline constexpr char kServiceVersion[] = "1.2.0";

inline constexpr wchar_t kProductName[] = L"KORVEL Antivirus";
inline constexpr wchar_t kServiceName[] = L"KorvelService";

/// The prefix of the name of every firewall rule of this product; compared case-insensitively.
inline constexpr wchar_t kFirewallRulePrefix[] = L"KORVEL:";

}  // namespace korvel
