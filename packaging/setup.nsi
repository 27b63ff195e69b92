; The installer for Windows; packaging/make-setup calls it and says what the names in ${} are.
;
; It is for one user, without an administrator: three of the settings have their first value from here
; only, and they are the user's own, as the accounts and sessions in the folder are.
;
;   /S          without windows; what stood in the way is printed
;   /D=FOLDER   where to, without quotation marks; the last word of the line
;
; The uninstaller takes /S, and with it /PURGE, which removes accounts, sessions and settings as well.
; Exit codes: 0 done, 1 the user changed their mind, and those below.

Target ${TARGET}
SetCompressor /SOLID lzma
RequestExecutionLevel user
ManifestSupportedOS all
ManifestDPIAware true

; Of a question that always has the same answer in one kind of installer, such as RunningX64.
!pragma warning disable 6012 ; label not used

!include FileFunc.nsh
!include LogicLib.nsh
!include MUI2.nsh
!include x64.nsh

!define CODE_FAILED 2      ; Windows refused something
!define CODE_IN_USE 3      ; Outlook or a job runs
!define CODE_ELSEWHERE 4   ; it is installed in another folder

; As the DLL registers itself. It can't be asked to: the one for the other kind of Outlook doesn't load here.
!define PROG_ID "Vespro.Connect"
!define CLASS_ID "{2776C028-9AA2-4CF7-B449-BFD23F4EE5AD}"
!define NAME "Vespro"
!define DESCRIPTION "Bulk mail from the compose window"
!define OFFICE "Software\Microsoft\Office"
!define CLASSES "Software\Classes"

!define MAKER "Software\Tandrelix"
!define SETTINGS "${MAKER}\Vespro2.0Beta"
!define PROGRAMS_LIST "Software\Microsoft\Windows\CurrentVersion\Uninstall"
!define LISTED "${PROGRAMS_LIST}\Vespro"

Name "${NAME}"
Caption "${NAME} ${VERSION} Setup"
BrandingText "${NAME} ${VERSION}"
OutFile "${OUT}"
InstallDir "$LOCALAPPDATA\Vespro"
InstallDirRegKey HKCU "${LISTED}" "InstallLocation"
AllowRootDirInstall false
ShowInstDetails nevershow
ShowUninstDetails nevershow
SetOverwrite try

VIProductVersion "${VERSION}.0"
VIAddVersionKey "ProductName" "${NAME}"
VIAddVersionKey "ProductVersion" "${VERSION}"
VIAddVersionKey "FileVersion" "${VERSION}"
VIAddVersionKey "FileDescription" "${NAME} Setup"
VIAddVersionKey "CompanyName" "${COMPANY}"
VIAddVersionKey "LegalCopyright" ""

!define MUI_ICON "${ICON}"
!define MUI_UNICON "${ICON}"
!define MUI_ABORTWARNING
!define MUI_INSTFILESPAGE_FINISHHEADER_TEXT "${NAME} is installed"
!define MUI_INSTFILESPAGE_FINISHHEADER_SUBTEXT "Start Outlook: its main window has a menu of ${NAME}'s."
!insertmacro MUI_PAGE_DIRECTORY
!insertmacro MUI_PAGE_INSTFILES
!insertmacro MUI_UNPAGE_CONFIRM
!insertmacro MUI_UNPAGE_INSTFILES
!insertmacro MUI_LANGUAGE "English"

; Ends with a code: with the text in a window, or printed where no window is wanted.
!macro Refuse code text
  Push "${text}"
  Push ${code}
  !ifdef __UNINSTALL__
    Call un.Refuse
  !else
    Call Refuse
  !endif
!macroend
!macro RefuseFunction name
Function ${name}
  Pop $8
  Pop $7
  ${If} ${Silent}
    ; To the file or pipe that was given, otherwise to the console that started this.
    System::Call "kernel32::GetStdHandle(i -11) p .r9"
    ${If} $9 P= 0
      System::Call "kernel32::AttachConsole(i -1)"
      System::Call "kernel32::GetStdHandle(i -11) p .r9"
    ${EndIf}
    FileWrite $9 "$7$\r$\n"
    SetErrorLevel $8
    Quit
  ${EndIf}
  ${If} $8 <> ${CODE_IN_USE}  ; then they have just read it, and chosen not to try again
    MessageBox MB_OK|MB_ICONSTOP "$7"
  ${EndIf}
  SetErrorLevel $8
  Abort "$7"
FunctionEnd
!macroend
!insertmacro RefuseFunction Refuse
!insertmacro RefuseFunction un.Refuse

; Windows lets nobody write to what is loaded. $0: the first file that is; empty: none is.
!macro FindInUse
  StrCpy $0 ""
  !insertmacro LookAt "x64\Vespro.dll"
  !insertmacro LookAt "x86\Vespro.dll"
  !insertmacro LookAt "Vespro.exe"
  !insertmacro LookAt "vespro-cli.exe"
!macroend
!macro LookAt file
  ${If} $0 == ""
  ${AndIf} ${FileExists} "$INSTDIR\${file}"
    ClearErrors
    FileOpen $1 "$INSTDIR\${file}" a
    ${If} ${Errors}
      StrCpy $0 "${file}"
    ${Else}
      FileClose $1
    ${EndIf}
  ${EndIf}
!macroend

!macro WaitUntilFree
  look_again:
  !insertmacro FindInUse
  ${If} $0 != ""
    StrCpy $2 "$0 is in use. Close Outlook, let jobs end, and try again."
    MessageBox MB_RETRYCANCEL|MB_ICONEXCLAMATION "$2" /SD IDCANCEL IDRETRY look_again
    !insertmacro Refuse ${CODE_IN_USE} "$2"
  ${EndIf}
!macroend

!macro RemoveFiles
  Delete "$INSTDIR\x64\Vespro.dll"
  RMDir "$INSTDIR\x64"
  Delete "$INSTDIR\x86\Vespro.dll"
  RMDir "$INSTDIR\x86"
  Delete "$INSTDIR\images\ie.ico"
  Delete "$INSTDIR\images\text.ico"
  Delete "$INSTDIR\images\explorer.ico"
  RMDir "$INSTDIR\images"
  Delete "$INSTDIR\Vespro.exe"
  Delete "$INSTDIR\vespro-cli.exe"
  Delete "$INSTDIR\vespro.chm"
  Delete "$INSTDIR\uninstall.exe"
!macroend

; The class for Outlooks of one kind: in that view of the registry.
!macro RegisterClass view dll
  SetRegView ${view}
  WriteRegStr HKCU "${CLASSES}\CLSID\${CLASS_ID}" "" "${NAME}"
  WriteRegStr HKCU "${CLASSES}\CLSID\${CLASS_ID}\ProgID" "" "${PROG_ID}"
  WriteRegStr HKCU "${CLASSES}\CLSID\${CLASS_ID}\InprocServer32" "" "$INSTDIR\${dll}"
  WriteRegStr HKCU "${CLASSES}\CLSID\${CLASS_ID}\InprocServer32" "ThreadingModel" "Apartment"
  SetRegView lastused
!macroend

!macro UnregisterClass view
  SetRegView ${view}
  DeleteRegKey HKCU "${CLASSES}\CLSID\${CLASS_ID}"
  DeleteRegKey /ifempty HKCU "${CLASSES}\CLSID"
  SetRegView lastused
!macroend

; A setting that the user or an earlier installation has set is left as it is.
!macro FirstValue name value
  ClearErrors
  ReadRegStr $0 HKCU "${SETTINGS}" "${name}"
  ${If} ${Errors}
    WriteRegStr HKCU "${SETTINGS}" "${name}" "${value}"
  ${EndIf}
!macroend

Section "Install"
  ReadRegStr $0 HKCU "${LISTED}" "InstallLocation"
  ${If} $0 != ""
  ${AndIf} $0 != $INSTDIR
  ${AndIf} ${FileExists} "$0\uninstall.exe"
    !insertmacro Refuse ${CODE_ELSEWHERE} "Vespro is installed in $0 already. Install it there, or remove it first."
  ${EndIf}
  StrCpy $3 "new"
  ${If} ${FileExists} "$INSTDIR\uninstall.exe"
    StrCpy $3 "over an older one"
  ${EndIf}
  !insertmacro WaitUntilFree

  ClearErrors
  SetOutPath "$INSTDIR\x64"
  File "${X64}/x64/Vespro.dll"
  SetOutPath "$INSTDIR\x86"
  File "${X86}/x86/Vespro.dll"
  SetOutPath "$INSTDIR\images"
  File "${PROGRAMS}/images/ie.ico"
  File "${PROGRAMS}/images/text.ico"
  File "${PROGRAMS}/images/explorer.ico"
  SetOutPath "$INSTDIR"
  File "${PROGRAMS}/Vespro.exe"
  File "${PROGRAMS}/vespro-cli.exe"
  !ifdef HELP
    File "${HELP}"
  !endif
  WriteUninstaller "$INSTDIR\uninstall.exe"
  ${If} ${Errors}
    SetOutPath "$TEMP"
    ${If} $3 == "new"
      !insertmacro RemoveFiles
      RMDir "$INSTDIR"
    ${EndIf}
    !insertmacro Refuse ${CODE_FAILED} "The files can't be written to $INSTDIR. Choose a folder that you may write to, on a disk with room."
  ${EndIf}

  !insertmacro FirstValue "DefaultNumConnect" "5"
  !insertmacro FirstValue "MaxNumConnect" "50"
  !insertmacro FirstValue "DefaultBccMode" "100"

  ClearErrors
  WriteRegStr HKCU "${CLASSES}\${PROG_ID}" "" "${NAME}"
  WriteRegStr HKCU "${CLASSES}\${PROG_ID}\CLSID" "" "${CLASS_ID}"
  !insertmacro RegisterClass 32 "x86\Vespro.dll"
  ${If} ${RunningX64}
    !insertmacro RegisterClass 64 "x64\Vespro.dll"
  ${EndIf}
  WriteRegStr HKCU "${LISTED}" "DisplayName" "${NAME}"
  WriteRegStr HKCU "${LISTED}" "DisplayVersion" "${VERSION}"
  WriteRegStr HKCU "${LISTED}" "DisplayIcon" "$INSTDIR\Vespro.exe"
  WriteRegStr HKCU "${LISTED}" "Publisher" "${COMPANY}"
  WriteRegStr HKCU "${LISTED}" "URLInfoAbout" "${WEB_ADDRESS}"
  WriteRegStr HKCU "${LISTED}" "InstallLocation" "$INSTDIR"
  WriteRegStr HKCU "${LISTED}" "UninstallString" '"$INSTDIR\uninstall.exe"'
  WriteRegStr HKCU "${LISTED}" "QuietUninstallString" '"$INSTDIR\uninstall.exe" /S'
  WriteRegDWORD HKCU "${LISTED}" "EstimatedSize" ${KILOBYTES}
  WriteRegDWORD HKCU "${LISTED}" "NoModify" 1
  WriteRegDWORD HKCU "${LISTED}" "NoRepair" 1
  ; Outlook's list last: it must not name what isn't there.
  WriteRegStr HKCU "${OFFICE}\Outlook\Addins\${PROG_ID}" "FriendlyName" "${NAME}"
  WriteRegStr HKCU "${OFFICE}\Outlook\Addins\${PROG_ID}" "Description" "${DESCRIPTION}"
  WriteRegDWORD HKCU "${OFFICE}\Outlook\Addins\${PROG_ID}" "CommandLineSafe" 0
  WriteRegDWORD HKCU "${OFFICE}\Outlook\Addins\${PROG_ID}" "LoadBehavior" 3
  ${If} ${Errors}
    !insertmacro Refuse ${CODE_FAILED} "Windows does not let Vespro be registered. Its files are in $INSTDIR; try again."
  ${EndIf}
SectionEnd

; What a user has below the folder, and in the registry. Only what the programs make goes: the folder
; may have been chosen where others keep their things.
!macro RemoveData
  System::Call "advapi32::GetUserNameA(m .r4, *i 25) i .r0"
  ${If} $0 != 0
    !insertmacro RemoveDataFolder "$INSTDIR\$4"
  ${EndIf}
  !insertmacro RemoveDataFolder "$INSTDIR\unknown"
  DeleteRegKey HKCU "${SETTINGS}"
  DeleteRegKey /ifempty HKCU "${MAKER}"
!macroend
!macro RemoveDataFolder folder
  Push "${folder}"
  Call un.RemoveDataFolder
!macroend
Function un.RemoveDataFolder
  Pop $5
  FindFirst $6 $7 "$5\session\*"
  ${DoWhile} $7 != ""
    StrLen $8 $7
    ${If} $8 = 13
      RMDir /r "$5\session\$7"
    ${EndIf}
    FindNext $6 $7
  ${Loop}
  FindClose $6
  RMDir "$5\session"
  Delete "$5\Vespro.db"
  Delete "$5\Vespro.db.lock"
  Delete "$5\send.lock"
  Delete "$5\index.html"
  RMDir "$5"
FunctionEnd

Section "Uninstall"
  !insertmacro WaitUntilFree
  ${GetParameters} $0
  ClearErrors
  ${GetOptions} $0 "/PURGE" $1
  StrCpy $3 "keep"
  ${IfNot} ${Errors}
    StrCpy $3 "purge"
  ${Else}
    MessageBox MB_YESNO|MB_ICONQUESTION|MB_DEFBUTTON2 "Remove your accounts, sessions and settings as well?$\r$\n$\r$\nWith No they stay in $INSTDIR, and a later installation in this folder finds them." /SD IDNO IDNO keep_data
      StrCpy $3 "purge"
    keep_data:
  ${EndIf}

  SetOutPath "$TEMP"
  DeleteRegKey HKCU "${OFFICE}\Outlook\Addins\${PROG_ID}"
  DeleteRegKey HKCU "${CLASSES}\${PROG_ID}"
  !insertmacro UnregisterClass 32
  ${If} ${RunningX64}
    !insertmacro UnregisterClass 64
    DeleteRegKey /ifempty HKCU "${CLASSES}\Wow6432Node"
  ${EndIf}
  DeleteRegKey /ifempty HKCU "${OFFICE}\Outlook\Addins"
  DeleteRegKey /ifempty HKCU "${OFFICE}\Outlook"
  DeleteRegKey /ifempty HKCU "${OFFICE}"
  ${If} $3 == "purge"
    !insertmacro RemoveData
  ${EndIf}
  !insertmacro RemoveFiles
  RMDir "$INSTDIR"
  DeleteRegKey HKCU "${LISTED}"
  DeleteRegKey /ifempty HKCU "${PROGRAMS_LIST}"
SectionEnd
