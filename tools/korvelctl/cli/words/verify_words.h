// The words of 'quarantine verify' and 'quarantine export'.
#pragma once

#include "korvelctl/cli/text.h"

namespace korvel::ctl::words {

constexpr Text kVerifyHelp{"Compare the records with the stored files; recompute their digests",
                           "Сверить записи с файлами карантина, пересчитать контрольные суммы"};
constexpr Text kVerifyDirHelp{"Another quarantine folder, without asking the service",
                              "Другая папка карантина, без обращения к службе"};
constexpr Text kVerifyExample{"Is everything in the quarantine still as it was?",
                              "Всё ли в карантине на месте?"};
constexpr Text kVerifyDirExample{"Look at a folder while the service is stopped",
                                 "Проверить папку при остановленной службе"};
constexpr Text kVerifyNote{
    "Reading the stored files usually needs an administrator's rights; what cannot be read is 'not looked "
    "at', "
    "never called whole. Exit code 1 for findings.",
    "Чтобы прочесть файлы, обычно нужны права администратора; непрочитанное отмечается как «не проверено» и "
    "целым не считается. Код выхода 1, если что-то не так."};
constexpr Text kExportHelp{"Copy a quarantined file out; the record stays",
                           "Скопировать файл из карантина; запись остаётся"};
constexpr Text kExportIdHelp{"The id as listed", "Номер из списка"};
constexpr Text kExportFileHelp{"Where to write the copy", "Куда записать копию"};
constexpr Text kExportForceHelp{"Write over an existing file", "Заменить существующий файл"};
constexpr Text kExportExample{"For the analysts, under a name that nothing starts",
                              "Для анализа, под именем, которое не запустится"};
constexpr Text kExportNote{"The copy is as dangerous as the original was.",
                           "Копия так же опасна, как сам файл."};
constexpr Text kExportQuestion{"{0} exists. Replace it?", "{0} уже есть. Заменить?"};
constexpr Text kExportNoFile{"-o FILE is missing: where shall the copy go?",
                             "не указано -o FILE: куда записать копию?"};
constexpr Text kExportUnreadable{"cannot read the stored file {0}", "не удалось прочесть файл карантина {0}"};
constexpr Text kExportUnwritable{"cannot write {0}", "не удалось записать {0}"};
constexpr Text kExportAltered{"the stored file is not the one that was quarantined: its SHA-256 is {0}",
                              "в карантине лежит не тот файл: его SHA-256 {0}"};
constexpr Text kExportDone{"{0} is copied to {1}, {2}; handle it with care",
                           "{0} скопирован в {1}, {2}; обращайтесь с ним осторожно"};
constexpr Text kExportWould{"{0} would be copied to {1}", "{0} будет скопирован в {1}"};
constexpr Text kExportNoRecord{"the quarantine has no record {0}", "в карантине нет записи {0}"};
constexpr Text kExportNoNumber{"'{0}' is not an id; see: korvelctl quarantine list",
                               "«{0}» — не номер; см. korvelctl quarantine list"};

constexpr Text kVerifyId{"id", "номер"};
constexpr Text kVerifyState{"file", "файл"};
constexpr Text kVerifyThreat{"threat", "угроза"};
constexpr Text kVerifySize{"size", "размер"};
constexpr Text kVerifyOriginal{"original", "откуда"};
constexpr Text kStoredPresent{"whole", "цел"};
constexpr Text kStoredMissing{"missing!", "нет!"};
constexpr Text kStoredAltered{"altered!", "изменён!"};
constexpr Text kStoredNotLookedAt{"not looked at", "не проверен"};
constexpr Text kSharesFile{"another record names the same stored file", "тот же файл назван в другой записи"};
constexpr Text kSharesId{"an earlier record has the same id, so this one cannot be acted on",
                         "тот же номер у более ранней записи: с этой ничего не сделать"};
constexpr Text kVerifyOrphans{"Files without a record:", "Файлы без записи:"};
constexpr Text kVerifyIndexDamaged{
    "The index quarantine.db is damaged: records may be lost. Keep a copy of the folder before anything "
    "else.",
    "Указатель quarantine.db повреждён: часть записей могла пропасть. Сначала сделайте копию папки."};
constexpr Text kIndexMissing{"The index quarantine.db is missing.", "Указателя quarantine.db нет."};
constexpr Text kIndexNotLookedAt{"The index quarantine.db was not looked at: it cannot be read.",
                                 "Указатель quarantine.db не проверен: его не прочесть."};
constexpr Text kFolderNotListed{"The folder {0} cannot be listed: files without a record are not known.",
                                "Папку {0} не прочесть: файлы без записи неизвестны."};
constexpr Text kVerifySummary{
    "{0}: whole {1}, missing {2}, altered {3}, not looked at {4}; without a record {5}",
    "{0}: целых {1}, пропавших {2}, изменённых {3}, не проверено {4}; без записи {5}"};
constexpr Plural kVerifyRecords{{"record", "records"}, {"запись", "записи", "записей"}};

}  // namespace korvel::ctl::words
