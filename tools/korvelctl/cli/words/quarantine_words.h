// The words of quarantine list, restore and delete.
#pragma once

#include "korvelctl/cli/text.h"

namespace korvel::ctl::words {

constexpr Text kQuarantineHelp{"Look into the quarantine", "Посмотреть карантин и распорядиться им"};
constexpr Text kQuarantineListHelp{"List the quarantined files", "Показать файлы в карантине"};
constexpr Text kQuarantineRestoreHelp{"Put files back where they were", "Вернуть файлы на прежнее место"};
constexpr Text kQuarantineDeleteHelp{"Delete quarantined files for good",
                                     "Удалить файлы из карантина безвозвратно"};
constexpr Text kQuarantineIds{"Ids in the list of quarantined files", "Номера (ID) из списка карантина"};
constexpr Text kMissingListHelp{"Only records whose stored file is missing", "Только записи без файла"};
constexpr Text kSortHelp{"Order of the list (time)", "Порядок в списке (time)"};
constexpr Text kRestoreForceHelp{"Also over a file that is there now; asks nothing",
                                 "И поверх файла, который там уже есть; без вопроса"};
constexpr Text kDeleteAllHelp{"All records, instead of ids", "Все записи вместо номеров"};
constexpr Text kOlderThanHelp{"Records older than AGE: 30d, 12h, 45m; instead of ids",
                              "Записи старше срока: 30d, 12h, 45m; вместо номеров"};
constexpr Text kMissingDeleteHelp{"Records whose stored file is missing, instead of ids",
                                  "Записи без файла, вместо номеров"};
constexpr Text kQuarantineListExample{"What is in the quarantine", "Что лежит в карантине"};
constexpr Text kQuarantineRestoreExample{"Put one file back", "Вернуть один файл"};
constexpr Text kQuarantineDeleteExample{"Clear out what is older than a month",
                                        "Очистить то, что старше месяца"};
constexpr Text kRestoreNote{"The service puts a file back over whatever is there. This client looks first.",
                            "Служба возвращает файл поверх того, что лежит на его месте. Этот клиент сначала "
                            "смотрит."};

constexpr Text kColumnId{"id", "id"};
constexpr Text kColumnDate{"date", "дата"};
constexpr Text kColumnLevel{"severity", "уровень"};
constexpr Text kColumnName{"threat", "угроза"};
constexpr Text kColumnSize{"size", "размер"};
constexpr Text kColumnStored{"file", "файл"};
constexpr Text kColumnFrom{"from", "откуда"};
constexpr Text kFileThere{"there", "есть"};
constexpr Text kFileGone{"missing!", "нет!"};
constexpr Text kQuarantineEmpty{"the quarantine is empty", "карантин пуст"};
constexpr Plural kRecords{{"record", "records"}, {"запись", "записи", "записей"}};
constexpr Text kRecordsLine{"{0}", "{0}"};
constexpr Text kRecordsMissing{"{0}, {1} without a file (korvelctl quarantine delete --missing)",
                               "{0}, из них без файла: {1} (korvelctl quarantine delete --missing)"};
constexpr Text kIndexDamaged{
    "the quarantine's index is damaged: records may be missing (korvelctl quarantine verify)",
    "список карантина повреждён: в нём могло что-то пропасть (korvelctl quarantine verify)"};
constexpr Text kIndexGone{"the quarantine's index is missing, but stored files are there",
                          "списка карантина нет, а файлы в нём есть"};
constexpr Text kOrphans{"{0} in the folder have no record (korvelctl quarantine verify)",
                        "в папке есть файлы без записи: {0} (korvelctl quarantine verify)"};
constexpr Text kNotAnId{"not an id: {0}", "это не номер: {0}"};
constexpr Text kNoSuchRecord{"record not found", "такой записи нет"};
constexpr Text kBadAge{"--older-than takes an age like 30d, 12h or 45m, not '{0}'",
                       "--older-than принимает срок вида 30d, 12h или 45m, а не «{0}»"};
constexpr Text kOneChoice{"give ids, or one of --all, --older-than and --missing",
                          "укажите номера или одно из --all, --older-than, --missing"};
constexpr Text kDeleteRecordsQuestion{"Delete {0} of the quarantine for good?",
                                      "Удалить из карантина безвозвратно: {0}?"};
constexpr Text kRestoreQuestion{"{0} exists. Replace it?", "{0} уже есть. Заменить?"};
constexpr Text kRestoreInTheWay{"{0} exists; --force replaces it", "{0} уже есть; заменит его --force"};
constexpr Text kStoredGone{"its stored file is missing", "его файла в карантине нет"};
constexpr Text kRestored{"restored: {0}", "возвращён: {0}"};
constexpr Text kRemoved{"deleted: {0}", "удалён: {0}"};
constexpr Text kWouldRestore{"would restore: {0}", "был бы возвращён: {0}"};
constexpr Text kWouldRemove{"would delete: {0}", "был бы удалён: {0}"};
constexpr Text kNothingChosen{"no record is meant by that", "подходящих записей нет"};
constexpr Text kFileStays{"the record has gone, but its file could not be deleted: {0}",
                          "запись удалена, но файл удалить не удалось: {0}"};

}  // namespace korvel::ctl::words
