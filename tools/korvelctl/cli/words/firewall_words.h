// The words of firewall.
#pragma once

#include "korvelctl/cli/text.h"

namespace korvel::ctl::words {

inline constexpr Text kFirewallHelp{"Look at Windows Firewall, or change it",
                                    "Посмотреть или изменить брандмауэр Windows"};
inline constexpr Text kFirewallStatusHelp{"Show profiles and rules of programs",
                                          "Показать профили и правила программ"};
inline constexpr Text kOwnHelp{"Only rules that KORVEL has made", "Только правила, созданные KORVEL"};
inline constexpr Text kProfileHelp{"Switch a profile on or off", "Включить или выключить профиль"};
inline constexpr Text kProfileArgument{"Which profile", "Какой профиль"};
inline constexpr Text kStateArgument{"What it is to be", "Каким ему быть"};
inline constexpr Text kInboundHelp{"Block all inbound traffic, or let it in again",
                                   "Закрыть весь входящий трафик или снова открыть"};
inline constexpr Text kBlockHelp{"Block a program's traffic", "Запретить трафик программы"};
inline constexpr Text kAllowHelp{"Allow a program's traffic", "Разрешить трафик программы"};
inline constexpr Text kProgramArgument{"Path of the program", "Путь к программе"};
inline constexpr Text kInHelp{"Inbound traffic only", "Только входящий"};
inline constexpr Text kOutHelp{"Outbound traffic only", "Только исходящий"};
inline constexpr Text kBothHelp{"Both directions (default)", "В обе стороны (по умолчанию)"};
inline constexpr Text kOneDirection{"--in, --out and --both exclude each other",
                                    "--in, --out и --both исключают друг друга"};
inline constexpr Text kResetHelp{"Remove every rule that KORVEL has made",
                                 "Удалить все правила, созданные KORVEL"};
inline constexpr Text kFirewallStatusExample{"The rules that KORVEL has made", "Правила, созданные KORVEL"};
inline constexpr Text kProfileExample{"Switch the firewall on in public networks",
                                      "Включить брандмауэр в общественных сетях"};
inline constexpr Text kInboundExample{"Let nothing in", "Ничего не впускать"};
inline constexpr Text kBlockExample{"Keep one program from sending", "Запретить программе отправлять данные"};
inline constexpr Text kAllowExample{"Let one program talk both ways",
                                    "Разрешить программе обмен в обе стороны"};
inline constexpr Text kResetExample{"From a script, without a question", "Из сценария, без вопроса"};

inline constexpr Text kRuleState{"rule", "правило"};
inline constexpr Text kRuleAction{"action", "действие"};
inline constexpr Text kRuleDirection{"direction", "сторона"};
inline constexpr Text kRuleName{"name", "имя"};
inline constexpr Text kRuleProgram{"program", "программа"};
inline constexpr Text kProfile{"Profile {0}", "Профиль {0}"};
inline constexpr Text kInbound{"Inbound", "Входящие"};
inline constexpr Text kInboundBlocked{"blocked by KORVEL", "закрыты службой KORVEL"};
inline constexpr Text kInboundOpen{"not blocked by KORVEL", "не закрыты службой KORVEL"};
inline constexpr Text kNoOwnRules{"no rules of KORVEL for programs", "правил KORVEL для программ нет"};
inline constexpr Text kNoRules{"no rules", "правил нет"};
inline constexpr Text kFirewallChanged{"firewall changed", "брандмауэр изменён"};
inline constexpr Text kWouldChangeFirewall{"would change the firewall", "брандмауэр был бы изменён"};
inline constexpr Text kResetQuestion{"Remove every firewall rule that KORVEL has made?",
                                     "Удалить все правила брандмауэра, созданные KORVEL?"};

}  // namespace korvel::ctl::words
