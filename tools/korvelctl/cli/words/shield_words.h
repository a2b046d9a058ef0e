// The words of 'shield status'.
#pragma once

#include "korvelctl/cli/text.h"

namespace korvel::ctl::words {

constexpr Text kShieldHelp{"The web shield", "Веб-щит"};
constexpr Text kShieldStatusHelp{"What the hosts file holds of the web shield",
                                 "Что в файле hosts относится к веб-щиту"};
constexpr Text kShieldExample{"How many domains are blocked?", "Сколько доменов заблокировано?"};
constexpr Text kShieldHostsHelp{"Another hosts file than the system's",
                                "Другой файл hosts вместо системного"};
constexpr Text kShieldNote{
    "The block between the two KORVEL markers belongs to the service, which writes it anew once a day. Lines "
    "that others put inside it are lost then; lines outside stay.",
    "Блок между двумя метками KORVEL принадлежит службе, раз в день она пишет его заново. Чужие строки "
    "внутри "
    "него тогда пропадут, строки вне его останутся."};
constexpr Text kShieldUnreadable{"cannot read the hosts file {0}", "не удалось прочесть файл hosts {0}"};

constexpr Text kShieldSetting{"Web shield", "Веб-щит"};
constexpr Text kShieldUnknown{"not known, the service does not answer", "неизвестно, служба не отвечает"};
constexpr Text kShieldFile{"Hosts file", "Файл hosts"};
constexpr Text kShieldBlock{"Block", "Блок"};
constexpr Text kShieldNoBlock{"none", "нет"};
constexpr Text kShieldBlockText{"{0}, {1}, written {2}", "{0}, {1}, записан {2}"};
constexpr Text kShieldAgo{"{0} ago", "{0} назад"};
constexpr Plural kEntries{{"entry", "entries"}, {"запись", "записи", "записей"}};
constexpr Plural kDomains{{"domain", "domains"}, {"домен", "домена", "доменов"}};
constexpr Text kShieldUserLines{"Other lines", "Прочие строки"};
constexpr Text kShieldUserLinesText{"{0}, untouched", "{0}, не затрагиваются"};
constexpr Plural kHostsLines{{"line", "lines"}, {"строка", "строки", "строк"}};
constexpr Text kShieldProblem{"Attention", "Внимание"};
constexpr Text kShieldDuplicates{"names blocked more than once: {0}", "имён, заблокированных повторно: {0}"};
constexpr Text kShieldForeign{"foreign lines inside the block, lost at the next update: {0}",
                              "чужих строк внутри блока, пропадут при обновлении: {0}"};
constexpr Text kShieldLeftBehind{"entries of the shield outside its block, which nobody removes: {0}",
                                 "записей щита вне его блока, их никто не уберёт: {0}"};
constexpr Text kShieldUnclosed{
    "the block has no end marker: the next update removes everything below its beginning",
    "у блока нет метки конца: обновление удалит всё, что ниже его начала"};
constexpr Text kShieldSeveral{"there are {0} blocks; the next update makes one of them",
                              "блоков {0}; обновление сделает из них один"};
constexpr Text kShieldMany{"{0} lines: beyond 10,000 every program resolves names slowly",
                           "строк {0}: при числе больше 10 000 имена у всех программ определяются медленно"};
constexpr Text kShieldOnWithoutBlock{"the shield is on, but nothing is blocked yet",
                                     "щит включён, но пока ничего не заблокировано"};
constexpr Text kShieldOffWithBlock{"the shield is off, but its block is still there",
                                   "щит выключен, но его блок ещё на месте"};

}  // namespace korvel::ctl::words
