; The setup program: copies the files and leaves what the service needs to korvelctl.
;
; scripts/package runs makensis with VERSION, VERSION_NUMBERS (1.2.0.0), FILES (folder of what is installed) and
; OUTPUT defined.
;
;   KorvelSetup-1.2.0.exe /S [/SERVER=https://host] [/NOSTART] [/NOPATH] [/TASKS=log,watch] [/D=C:\Folder]
;   uninstall.exe /S [/PURGE]
;
; Exit codes: 0 done, 1 cancelled by the user, 2 refused, or failed and undone; the reason is then also in
; %TEMP%\KorvelSetup.log.
;
; The service starts with Windows, so whatever lies in the program folder when the power fails must run: each file is
; replaced by one move, the seed signatures first and the service last, and every version reads the seed of every other.
Target amd64-unicode
Unicode true
SetCompressor /SOLID lzma
SetDateSave off ; the same files give the same setup program, whenever they were made
ManifestSupportedOS Win10
ManifestDPIAware true
RequestExecutionLevel admin
CRCCheck force
AllowRootDirInstall false

!include "MUI2.nsh"
!include "FileFunc.nsh"
!include "LogicLib.nsh"
!include "WinVer.nsh"
!include "WordFunc.nsh"
!include "x64.nsh"

!define PRODUCT "KORVEL Antivirus"
!define UNINSTALL_KEY "Software\Microsoft\Windows\CurrentVersion\Uninstall\KorvelAntivirus"
!define SERVICE_KEY "SYSTEM\CurrentControlSet\Services\KorvelService"
!define BACKUP "$INSTDIR\previous"
!define HOSTS "$SYSDIR\drivers\etc\hosts"
!define MOVE_REPLACE_AND_FLUSH 9 ; MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH

Name "${PRODUCT} ${VERSION}"
OutFile "${OUTPUT}"
InstallDir "$PROGRAMFILES64\Korvel"
BrandingText "${PRODUCT} ${VERSION}"
VIProductVersion "${VERSION_NUMBERS}"
VIAddVersionKey /LANG=1033 "ProductName" "${PRODUCT}"
VIAddVersionKey /LANG=1033 "CompanyName" "KORVEL"
VIAddVersionKey /LANG=1033 "FileDescription" "${PRODUCT} setup"
VIAddVersionKey /LANG=1033 "FileVersion" "${VERSION}"
VIAddVersionKey /LANG=1033 "ProductVersion" "${VERSION}"
VIAddVersionKey /LANG=1033 "LegalCopyright" ""
VIAddVersionKey /LANG=1049 "ProductName" "KORVEL Антивирус"
VIAddVersionKey /LANG=1049 "CompanyName" "KORVEL"
VIAddVersionKey /LANG=1049 "FileDescription" "Установка KORVEL Антивирус"
VIAddVersionKey /LANG=1049 "FileVersion" "${VERSION}"
VIAddVersionKey /LANG=1049 "ProductVersion" "${VERSION}"
VIAddVersionKey /LANG=1049 "LegalCopyright" ""

!define MUI_ICON "${RESOURCES}/korvel.ico"
!define MUI_UNICON "${RESOURCES}/korvel.ico"
!define MUI_ABORTWARNING
!insertmacro MUI_PAGE_WELCOME
!ifdef LICENCE
  !insertmacro MUI_PAGE_LICENSE "${LICENCE}"
!endif
!define MUI_PAGE_CUSTOMFUNCTION_PRE skipWhenInstalled
!insertmacro MUI_PAGE_DIRECTORY
!insertmacro MUI_PAGE_COMPONENTS
!insertmacro MUI_PAGE_INSTFILES
!insertmacro MUI_PAGE_FINISH
!insertmacro MUI_UNPAGE_CONFIRM
!insertmacro MUI_UNPAGE_INSTFILES
!insertmacro MUI_LANGUAGE "English"
!insertmacro MUI_LANGUAGE "Russian"
!include "${RESOURCES}/setup_texts.nsh"
!include "${RESOURCES}/setup_tasks.nsh"

Var server        ; address for UpdateServer, or empty
Var noStart       ; "1" after /NOSTART
Var upgrade       ; "1" when a version is installed in $INSTDIR
Var replacing     ; "1" as soon as a file may have been replaced
Var failure       ; why the installation was undone
Var result        ; exit code of the last command
Var text          ; what it printed

; What is installed, and replaced in this order. The service's own file is the last that it needs.
!macro EachFile ACTION
  !insertmacro ${ACTION} "data\signatures.seed.txt"
  !insertmacro ${ACTION} "korvelctl.exe"
  !insertmacro ${ACTION} "korvelsig.exe"
  !insertmacro ${ACTION} "KorvelService.exe"
!macroend

; --- helpers ---

; Runs korvelctl from FOLDER; $result and $text tell how it went.
!macro Korvelctl FOLDER ARGUMENTS
  DetailPrint `korvelctl ${ARGUMENTS}`
  nsExec::ExecToStack /OEM `"${FOLDER}\korvelctl.exe" ${ARGUMENTS}`
  Pop $result
  Pop $text
!macroend
!define Korvelctl "!insertmacro Korvelctl"

; A silent run shows nothing, so its reason goes into a file as well.
!macro Say TEXT
  FileOpen $R8 "$TEMP\KorvelSetup.log" w
  FileWriteUTF16LE /BOM $R8 "${TEXT}$\r$\n"
  FileClose $R8
  DetailPrint "${TEXT}"
  IfSilent +2
  MessageBox MB_OK|MB_ICONSTOP "${TEXT}"
!macroend
!macro Refuse TEXT
  !insertmacro Say "${TEXT}"
  SetErrorLevel 2
  Quit
!macroend

; Two setup programs at once would undo each other's work.
!macro OnlyOne
  System::Call 'kernel32::CreateMutexW(p 0, i 0, w "Global\KorvelSetup") p .r0 ?e'
  Pop $1
  ${If} $1 = 183 ; ERROR_ALREADY_EXISTS
    !insertmacro Refuse "$(textRunning)"
  ${EndIf}
!macroend

; --- installation ---

; The old file is kept as a copy, so that the file under its own name is there at every moment.
!macro Keep FILE
  ${If} ${FileExists} "$INSTDIR\${FILE}"
    CopyFiles /SILENT /FILESONLY "$INSTDIR\${FILE}" "${BACKUP}\${FILE}"
    ${IfNot} ${FileExists} "${BACKUP}\${FILE}"
      StrCpy $failure "${FILE}"
    ${EndIf}
  ${EndIf}
!macroend

!macro MoveTo FROM TO
  System::Call 'kernel32::MoveFileExW(w "${FROM}", w "${TO}", i ${MOVE_REPLACE_AND_FLUSH}) i .r0 ?e'
  Pop $1
!macroend
!macro MoveOver FROM FILE
  ${If} ${FileExists} "${FROM}\${FILE}"
    !insertmacro MoveTo "${FROM}\${FILE}" "$INSTDIR\${FILE}"
    ${If} $0 = 0
      ; A program that runs cannot be replaced, but its file can get another name.
      !insertmacro MoveTo "$INSTDIR\${FILE}" "${BACKUP}\${FILE}.running"
      ${If} $0 <> 0
        !insertmacro MoveTo "${FROM}\${FILE}" "$INSTDIR\${FILE}"
        ${If} $0 = 0
          Push $1
          !insertmacro MoveTo "${BACKUP}\${FILE}.running" "$INSTDIR\${FILE}"
          Pop $1 ; why it failed, not how the way back went
          StrCpy $0 0
        ${EndIf}
      ${EndIf}
    ${EndIf}
    ${If} $0 = 0
      StrCpy $failure "$INSTDIR\${FILE}, win32=$1"
    ${EndIf}
  ${EndIf}
!macroend
!macro Renew FILE
  ${If} $failure == ""
    !insertmacro MoveOver "$INSTDIR\next" "${FILE}"
  ${EndIf}
!macroend
!macro PutBack FILE
  ${If} ${FileExists} "${BACKUP}\${FILE}"
    !insertmacro MoveOver "${BACKUP}" "${FILE}"
  ${Else}
    Delete "$INSTDIR\${FILE}"
  ${EndIf}
!macroend

; True when Windows knows the service.
!macro ServiceKnown
  ReadRegStr $0 HKLM "${SERVICE_KEY}" "ImagePath"
  ${If} $0 != ""
!macroend

; The old version runs again, or nothing is left of a first installation.
Function undo
  StrCpy $R9 $failure
  SetOutPath "$PLUGINSDIR" ; the folder of the program cannot be removed as long as it is the current one
  DetailPrint "$(textUndo)"
  !insertmacro ServiceKnown
    ${Korvelctl} "$PLUGINSDIR" "--lang en service stop --yes --kill"
  ${EndIf}
  ${If} $upgrade = 1
    ${If} $replacing = 1
      !insertmacro EachFile PutBack
    ${EndIf}
    ${Korvelctl} "$INSTDIR" `--lang en service install --path "$INSTDIR\KorvelService.exe"`
    ${Korvelctl} "$INSTDIR" "--lang en service start"
  ${Else}
    !insertmacro RemoveTasks
    !insertmacro ServiceKnown
      ${Korvelctl} "$PLUGINSDIR" "--lang en service uninstall --yes"
    ${EndIf}
    !insertmacro EachFile PutBack
  ${EndIf}
  RMDir /r "${BACKUP}"
  RMDir /r "$INSTDIR\next"
  RMDir "$INSTDIR\data"
  RMDir "$INSTDIR"
  StrCpy $failure $R9
  !insertmacro Refuse "$(textFailed)"
FunctionEnd

Section "!${PRODUCT}" sectionProduct
  SectionIn RO
  SetRegView 64
  SetShellVarContext all
  SetOutPath "$PLUGINSDIR"
  File "${FILES}/korvelctl.exe" ; the one that this setup program knows, whatever is installed
  ${If} ${FileExists} "$INSTDIR\KorvelService.exe"
    StrCpy $upgrade 1
  ${EndIf}

  !insertmacro ServiceKnown
    DetailPrint "$(textStopping)"
    ${Korvelctl} "$PLUGINSDIR" "--lang en service stop --yes --kill"
    ${If} $result != 0
      StrCpy $failure "service stop: $text"
      Call undo
    ${EndIf}
  ${Else}
    ; What the web shield is going to change, as it was before.
    ${IfNot} ${FileExists} "${HOSTS}.before-korvel"
      CopyFiles /SILENT /FILESONLY "${HOSTS}" "${HOSTS}.before-korvel"
    ${EndIf}
  ${EndIf}

  ; Everything is on the disk before the first file is replaced.
  CreateDirectory "$INSTDIR\data"
  RMDir /r "$INSTDIR\next"
  RMDir /r "${BACKUP}"
  CreateDirectory "${BACKUP}\data"
  SetOverwrite try ; a file that cannot be written is an error, not a question
  ClearErrors
  SetOutPath "$INSTDIR\next\data"
  File "${FILES}/data/signatures.seed.txt"
  SetOutPath "$INSTDIR\next"
  File "${FILES}/KorvelService.exe" "${FILES}/korvelctl.exe" "${FILES}/korvelsig.exe"
  SetOutPath "$INSTDIR"
  ${If} ${Errors}
    StrCpy $failure "$INSTDIR"
    Call undo
  ${EndIf}
  !insertmacro EachFile Keep
  ${If} $failure == ""
    StrCpy $replacing 1
    !insertmacro EachFile Renew
  ${EndIf}
  ${If} $failure != ""
    Call undo
  ${EndIf}
SectionEnd

; Only a choice: the service's registration, below, adds the folder.
Section "$(textPath)" sectionPath
SectionEnd

; Choices as well: the tasks are made when the service is there.
Section /o "$(textTaskLog)" sectionTaskLog
SectionEnd
Section /o "$(textTaskWatch)" sectionTaskWatch
SectionEnd

Section "-service"
  DetailPrint "$(textService)"
  StrCpy $R1 ""
  ${If} $server != ""
    StrCpy $R1 `--server "$server"`
  ${EndIf}
  ${If} ${SectionIsSelected} ${sectionPath}
    StrCpy $R1 "$R1 --add-to-path"
  ${EndIf}
  ${Korvelctl} "$INSTDIR" `--lang en service install --path "$INSTDIR\KorvelService.exe" $R1`
  ${If} $result != 0
    StrCpy $failure "service install: $text"
    Call undo
  ${EndIf}
  ${If} $noStart != 1
    ${Korvelctl} "$INSTDIR" "--lang en service start"
    ${If} $result = 0
      ${Korvelctl} "$INSTDIR" "--lang en ping --wait 60"
    ${EndIf}
    ${If} $result != 0
      StrCpy $failure "service start: $text"
      Call undo
    ${EndIf}
  ${EndIf}
  ${If} ${SectionIsSelected} ${sectionTaskLog}
    !insertmacro MakeLogTask
  ${EndIf}
  ${If} ${SectionIsSelected} ${sectionTaskWatch}
    !insertmacro MakeWatchTask
  ${EndIf}
  ${If} $failure != ""
    Call undo
  ${EndIf}
  ${If} $noStart != 1
    !insertmacro RestartWatchTask
  ${EndIf}

  RMDir /r "${BACKUP}"
  RMDir /r "$INSTDIR\next"
  SetOutPath "$INSTDIR\docs"
  File "${FILES}/docs/*.*"
  SetOutPath "$INSTDIR"
  WriteUninstaller "$INSTDIR\uninstall.exe"
  WriteRegStr HKLM "${UNINSTALL_KEY}" "DisplayName" "${PRODUCT}"
  WriteRegStr HKLM "${UNINSTALL_KEY}" "DisplayVersion" "${VERSION}"
  WriteRegStr HKLM "${UNINSTALL_KEY}" "DisplayIcon" "$INSTDIR\KorvelService.exe"
  WriteRegStr HKLM "${UNINSTALL_KEY}" "Publisher" "KORVEL"
  WriteRegStr HKLM "${UNINSTALL_KEY}" "InstallLocation" "$INSTDIR"
  WriteRegStr HKLM "${UNINSTALL_KEY}" "UninstallString" `"$INSTDIR\uninstall.exe"`
  WriteRegStr HKLM "${UNINSTALL_KEY}" "QuietUninstallString" `"$INSTDIR\uninstall.exe" /S`
  WriteRegDWORD HKLM "${UNINSTALL_KEY}" "NoModify" 1
  WriteRegDWORD HKLM "${UNINSTALL_KEY}" "NoRepair" 1
  ${GetSize} "$INSTDIR" "/S=0K" $0 $1 $2
  WriteRegDWORD HKLM "${UNINSTALL_KEY}" "EstimatedSize" $0
SectionEnd

; --- before anything is changed ---

; $server becomes the value of /SERVER= in $R0, up to the next blank, without quotation marks. GetOptions would end it
; at its first "/".
Function readServer
  StrCpy $R5 0
  ${Do}
    StrCpy $R6 $R0 8 $R5
    ${If} $R6 == ""
      Return
    ${EndIf}
    IntOp $R5 $R5 + 1
  ${LoopUntil} $R6 == "/SERVER="
  IntOp $R5 $R5 + 7
  ${Do}
    StrCpy $R6 $R0 1 $R5
    ${If} $R6 == ""
    ${OrIf} $R6 == " "
      Return
    ${EndIf}
    ${If} $R6 != '"'
      StrCpy $server "$server$R6"
    ${EndIf}
    IntOp $R5 $R5 + 1
  ${Loop}
FunctionEnd

Function .onInit
  SetRegView 64
  !insertmacro OnlyOne
  ${IfNot} ${RunningX64}
  ${OrIfNot} ${AtLeastWin10}
    !insertmacro Refuse "$(textWindows)"
  ${EndIf}

  ${GetParameters} $R0
  Call readServer
  ClearErrors
  ${GetOptions} $R0 "/NOSTART" $R1
  ${IfNot} ${Errors}
    StrCpy $noStart 1
  ${EndIf}
  ClearErrors
  ${GetOptions} $R0 "/NOPATH" $R1
  ${IfNot} ${Errors}
    !insertmacro UnselectSection ${sectionPath}
  ${EndIf}
  ${GetOptions} $R0 "/TASKS=" $R1
  ${Select} $R1
    ${Case} ""
    ${Case} "log"
      !insertmacro SelectSection ${sectionTaskLog}
    ${Case} "watch"
      !insertmacro SelectSection ${sectionTaskWatch}
    ${Case2} "log,watch" "watch,log"
      !insertmacro SelectSection ${sectionTaskLog}
      !insertmacro SelectSection ${sectionTaskWatch}
    ${Default}
      !insertmacro Refuse "$(textTasks)"
  ${EndSelect}

  ; The service stays in the folder where it is.
  ReadRegStr $R2 HKLM "${UNINSTALL_KEY}" "InstallLocation"
  ${If} $R2 != ""
  ${AndIf} ${FileExists} "$R2\KorvelService.exe"
    ${If} $INSTDIR != $R2
    ${AndIf} $INSTDIR != "$PROGRAMFILES64\Korvel"
      !insertmacro Refuse "$(textOtherFolder)"
    ${EndIf}
    StrCpy $INSTDIR $R2
    StrCpy $upgrade 1
  ${EndIf}
  ReadRegStr $R3 HKLM "${UNINSTALL_KEY}" "DisplayVersion"
  ${If} $R3 != ""
    ${VersionCompare} $R3 "${VERSION}" $R4
    ${If} $R4 = 1
      !insertmacro Refuse "$(textDowngrade)"
    ${EndIf}
  ${EndIf}
FunctionEnd

Function skipWhenInstalled
  ${If} $upgrade = 1
    Abort
  ${EndIf}
FunctionEnd

; --- removal ---

Var purge ; "1" after /PURGE, or when the question was answered so

Function un.onInit
  SetRegView 64
  !insertmacro OnlyOne
  ${GetParameters} $R0
  ClearErrors
  ${GetOptions} $R0 "/PURGE" $R1
  ${IfNot} ${Errors}
    StrCpy $purge 1
  ${EndIf}
FunctionEnd

; $text becomes what is in the quarantine, as far as it fits into a question.
Function un.readQuarantineNames
  ${Korvelctl} "$INSTDIR" `--timeout 5 quarantine names --limit 10 --output "$PLUGINSDIR\names.txt"`
  StrCpy $text ""
  ClearErrors
  FileOpen $0 "$PLUGINSDIR\names.txt" r
  ${IfNot} ${Errors}
    ${Do}
      FileReadUTF16LE $0 $1
      StrCpy $text "$text$1"
    ${LoopUntil} ${Errors}
    FileClose $0
  ${EndIf}
FunctionEnd

Section "Uninstall"
  SetRegView 64
  SetShellVarContext all
  SetOutPath "$PLUGINSDIR"
  ${If} $purge != 1
  ${AndIfNot} ${Silent}
    Call un.readQuarantineNames
    ${If} $text == ""
      StrCpy $text "-"
    ${EndIf}
    MessageBox MB_YESNO|MB_ICONQUESTION|MB_DEFBUTTON2 "$(textPurge)" IDNO keep
    StrCpy $purge 1
    keep:
  ${EndIf}
  StrCpy $R1 ""
  ${If} $purge = 1
    StrCpy $R1 "--purge"
  ${EndIf}
  !insertmacro RemoveTasks
  ; Takes the firewall rules and the hosts block out, stops and deletes the service.
  ${Korvelctl} "$INSTDIR" "--lang en service uninstall --yes --kill $R1"
  DetailPrint "$text"
  ${If} $result != 0
    !insertmacro ServiceKnown
      !insertmacro Say "$(textNotRemoved)"
      SetErrorLevel 2
      Abort "$(textNotRemoved)"
    ${EndIf}
  ${EndIf}
  SetOutPath "$TEMP"
  Delete /REBOOTOK "$INSTDIR\KorvelService.exe"
  Delete /REBOOTOK "$INSTDIR\korvelctl.exe"
  Delete /REBOOTOK "$INSTDIR\korvelsig.exe"
  Delete "$INSTDIR\data\signatures.seed.txt"
  RMDir "$INSTDIR\data"
  RMDir /r "$INSTDIR\docs"
  RMDir /r "$INSTDIR\next"
  RMDir /r "${BACKUP}"
  Delete "$INSTDIR\uninstall.exe"
  RMDir "$INSTDIR"
  ${If} $purge = 1
    Delete "${HOSTS}.before-korvel"
  ${EndIf}
  DeleteRegKey HKLM "${UNINSTALL_KEY}"
SectionEnd

!insertmacro MUI_FUNCTION_DESCRIPTION_BEGIN
  !insertmacro MUI_DESCRIPTION_TEXT ${sectionPath} "$(textPathHint)"
  !insertmacro MUI_DESCRIPTION_TEXT ${sectionTaskLog} "$(textTaskLogHint)"
  !insertmacro MUI_DESCRIPTION_TEXT ${sectionTaskWatch} "$(textTaskWatchHint)"
!insertmacro MUI_FUNCTION_DESCRIPTION_END
