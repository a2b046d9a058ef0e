; What the setup program says, in both languages.
!macro Text NAME ENGLISH RUSSIAN
  LangString ${NAME} ${LANG_ENGLISH} "${ENGLISH}"
  LangString ${NAME} ${LANG_RUSSIAN} "${RUSSIAN}"
!macroend
!define Text "!insertmacro Text"

${Text} textRunning "Another setup program of ${PRODUCT} is running." \
  "Уже работает другая программа установки ${PRODUCT}."
${Text} textWindows "${PRODUCT} needs 64-bit Windows 10 or later." \
  "Для ${PRODUCT} нужна 64-разрядная Windows 10 или новее."
${Text} textDowngrade "Version $R3 is installed, which is newer than ${VERSION}. Nothing was changed. To go back, uninstall \
it first; settings and quarantine can be kept." \
  "Установлена версия $R3, она новее, чем ${VERSION}. Ничего не изменено. Чтобы вернуться к прежней версии, сначала \
удалите новую; настройки и карантин можно сохранить."
${Text} textOtherFolder "${PRODUCT} is installed in $R2. Nothing was changed. To install it elsewhere, uninstall it first." \
  "${PRODUCT} уже установлен в $R2. Ничего не изменено. Чтобы установить его в другую папку, сначала удалите его."
${Text} textStopping "Stopping the service, for up to two minutes" "Остановка службы, до двух минут"
${Text} textService "Registering and starting the service" "Регистрация и запуск службы"
${Text} textUndo "Undoing the installation" "Отмена установки"
${Text} textFailed "The installation failed and was undone: $failure" \
  "Установка не удалась, сделанное отменено: $failure"
${Text} textPath "korvelctl in the search path" "korvelctl в путях поиска"
${Text} textPathHint "Adds the program folder to PATH, so that korvelctl can be called by its name." \
  "Добавляет папку программы в PATH, чтобы вызывать korvelctl по имени."
${Text} textTaskLog "Shorten the log every week" "Сокращать журнал раз в неделю"
${Text} textTaskLogHint "A scheduled task keeps the log below 10 MB; five older parts stay beside it." \
  "Задание планировщика не даёт журналу вырасти больше 10 МБ; рядом остаются пять прежних частей."
${Text} textTaskWatch "Detections into the event log" "Обнаружения в журнал событий"
${Text} textTaskWatchHint "A scheduled task writes what real-time protection finds into the event log of Windows. Other clients \
then no longer get these events." \
  "Задание планировщика пишет находки защиты реального времени в журнал событий Windows. Другие клиенты тогда этих \
событий не получают."
${Text} textTasks "/TASKS= takes log, watch, or both with a comma; not $R1. Nothing was changed." \
  "/TASKS= принимает log, watch или оба через запятую; не $R1. Ничего не изменено."
${Text} textPurge "Delete settings, logs and quarantine as well?$\r$\n$\r$\nIn the quarantine:$\r$\n$text" \
  "Удалить также настройки, журнал и карантин?$\r$\n$\r$\nВ карантине:$\r$\n$text"
${Text} textNotRemoved "The service could not be removed: $text" "Службу удалить не удалось: $text"
