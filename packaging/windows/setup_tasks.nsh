; The scheduled tasks that /TASKS= asks for: both run korvelctl as the system.
!define TASK_LOG "${PRODUCT} log"
!define TASK_WATCH "${PRODUCT} watch"

; $result and $text tell how it went. The whole path: a program of this name beside the setup program is not run.
!macro Schtasks ARGUMENTS
  DetailPrint `schtasks ${ARGUMENTS}`
  nsExec::ExecToStack /OEM `"$SYSDIR\schtasks.exe" ${ARGUMENTS}`
  Pop $result
  Pop $text
!macroend
!define Schtasks "!insertmacro Schtasks"

; TRIGGER and SETTINGS are XML of the task scheduler. A task that is there already is replaced.
!macro MakeTask NAME TRIGGER SETTINGS ARGUMENTS
  ${WordReplace} "$INSTDIR" "&" "&amp;" "+" $R1
  FileOpen $0 "$PLUGINSDIR\task.xml" w
  FileWriteUTF16LE /BOM $0 `<?xml version="1.0" encoding="UTF-16"?>`
  FileWriteUTF16LE $0 `<Task version="1.2" xmlns="http://schemas.microsoft.com/windows/2004/02/mit/task">`
  FileWriteUTF16LE $0 `<RegistrationInfo><Author>KORVEL</Author></RegistrationInfo><Triggers>${TRIGGER}</Triggers>`
  FileWriteUTF16LE $0 `<Principals><Principal id="Author"><UserId>S-1-5-18</UserId>`
  FileWriteUTF16LE $0 `<RunLevel>HighestAvailable</RunLevel></Principal></Principals><Settings>`
  FileWriteUTF16LE $0 `<DisallowStartIfOnBatteries>false</DisallowStartIfOnBatteries>`
  FileWriteUTF16LE $0 `<StopIfGoingOnBatteries>false</StopIfGoingOnBatteries>${SETTINGS}</Settings>`
  FileWriteUTF16LE $0 `<Actions Context="Author"><Exec><Command>$R1\korvelctl.exe</Command>`
  FileWriteUTF16LE $0 `<Arguments>${ARGUMENTS}</Arguments></Exec></Actions></Task>`
  FileClose $0
  ${Schtasks} `/Create /F /TN "${NAME}" /XML "$PLUGINSDIR\task.xml"`
  ${If} $result != 0
    StrCpy $failure "${NAME}: $text"
  ${EndIf}
!macroend

; Sundays at half past three, or as soon as the computer is on after that.
!macro MakeLogTask
  !insertmacro MakeTask "${TASK_LOG}" \
    "<CalendarTrigger><StartBoundary>2026-01-04T03:30:00</StartBoundary><ScheduleByWeek><WeeksInterval>1</WeeksInterval>\
<DaysOfWeek><Sunday /></DaysOfWeek></ScheduleByWeek></CalendarTrigger>" \
    "<StartWhenAvailable>true</StartWhenAvailable><ExecutionTimeLimit>PT10M</ExecutionTimeLimit>" \
    "log rotate --max 10M --keep 5 --yes --quiet"
!macroend

; From the start of the computer on; when it has ended, again within five minutes.
!macro MakeWatchTask
  !insertmacro MakeTask "${TASK_WATCH}" \
    "<BootTrigger><Repetition><Interval>PT5M</Interval></Repetition></BootTrigger>" \
    "<MultipleInstancesPolicy>IgnoreNew</MultipleInstancesPolicy><ExecutionTimeLimit>PT0S</ExecutionTimeLimit>" \
    "watch --eventlog --quiet"
!macroend

; Where a task is not there, nothing happens.
!macro RestartWatchTask
  ${Schtasks} `/End /TN "${TASK_WATCH}"`
  ${Schtasks} `/Run /TN "${TASK_WATCH}"`
!macroend
!macro RemoveTasks
  ${Schtasks} `/End /TN "${TASK_WATCH}"`
  ${Schtasks} `/Delete /F /TN "${TASK_WATCH}"`
  ${Schtasks} `/Delete /F /TN "${TASK_LOG}"`
!macroend
