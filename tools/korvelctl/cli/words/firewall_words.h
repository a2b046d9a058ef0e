// The words of firewall.
#pragma once

#include "korvelctl/cli/text.h"

namespace korvel::ctl::words {

constexpr Text kFirewallHelp{"Look at Windows Firewall, or change it",
                             "Посмотреть или изменить брандмауэр Windows"};
constexpr Text kFirewallStatusHelp{"Show profiles and rules of programs",
                                   "Показать профили и правила программ"};
constexpr Text kOwnHelp{"Only rules that KORVEL has made", "Только правила, созданные KORVEL"};
constexpr Text kProfileHelp{"Switch a profile on or off", "Включить или выключить профиль"};
constexpr Text kProfileArgument{"Which profile", "Какой профиль"};
constexpr Text kStateArgument{"What it is to be", "Каким ему быть"};
constexpr Text kInboundHelp{"Block all inbound traffic, or let it in again",
                            "Закрыть весь входящий трафик или снова открыть"};
constexpr Text kBlockHelp{"Block a program's traffic", "Запретить трафик программы"};
constexpr Text kAllowHelp{"Allow a program's traffic", "Разрешить трафик программы"};
constexpr Text kProgramArgument{"Path of the program", "Путь к программе"};
constexpr Text kInHelp{"Inbound traffic only", "Только входящий"};
constexpr Text kOutHelp{"Outbound traffic only", "Только исходящий"};
constexpr Text kBothHelp{"Both directions (default)", "В обе стороны (по умолчанию)"};
constexpr Text kOneDirection{"--in, --out and --both exclude each other",
                             "--in, --out и --both исключают друг друга"};
constexpr Text kResetHelp{"Remove every rule that KORVEL has made", "Удалить все правила, созданные KORVEL"};
constexpr Text kFirewallStatusExample{"The rules that KORVEL has made", "Правила, созданные KORVEL"};
constexpr Text kProfileExample{"Switch the firewall on in public networks",
                               "Включить брандмауэр в общественных сетях"};
constexpr Text kInboundExample{"Let nothing in", "Ничего не впускать"};
constexpr Text kBlockExample{"Keep one program from sending", "Запретить программе отправлять данные"};
constexpr Text kAllowExample{"Let one program talk both ways", "Разрешить программе обмен в обе стороны"};
constexpr Text kResetExample{"From a script, without a question", "Из сценария, без вопроса"};

constexpr Text kRuleState{"rule", "правило"};
constexpr Text kRuleAction{"action", "действие"};
constexpr Text kRuleDirection{"direction", "сторона"};
constexpr Text kRuleName{"name", "имя"};
constexpr Text kRuleProgram{"program", "программа"};
constexpr Text kProfile{"Profile {0}", "Профиль {0}"};
constexpr Text kInbound{"Inbound", "Входящие"};
constexpr Text kInboundBlocked{"blocked by KORVEL", "закрыты службой KORVEL"};
constexpr Text kInboundOpen{"not blocked by KORVEL", "не закрыты службой KORVEL"};
constexpr Text kNoOwnRules{"no rules of KORVEL for programs", "правил KORVEL для программ нет"};
constexpr Text kNoRules{"no rules", "правил нет"};
constexpr Text kFirewallChanged{"firewall changed", "брандмауэр изменён"};
constexpr Text kWouldChangeFirewall{"would change the firewall", "брандмауэр был бы изменён"};
constexpr Text kResetQuestion{"Remove every firewall rule that KORVEL has made?",
                              "Удалить все правила брандмауэра, созданные KORVEL?"};

}  // namespace korvel::ctl::words
