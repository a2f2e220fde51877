; The installer of the KV500 service. Made by packaging/windows.sh, which defines VERSION, PROGRAM
; and OUTPUT.
;
; Exit codes: 0 done; 1 ended by the person; 2 nothing was changed, the old state is kept; 3 installed,
; but the service does not start.
Unicode true
Target amd64-unicode
SetCompressor /SOLID lzma
RequestExecutionLevel admin
Name "KV500 Service"
OutFile "${OUTPUT}"
InstallDir "$PROGRAMFILES64\KV500Service"
Icon "..\..\platform\windows\kv500.ico"
UninstallIcon "..\..\platform\windows\kv500.ico"
BrandingText "KV500 Service ${VERSION}"
ShowInstDetails show
VIProductVersion "${VERSION}.0"
VIAddVersionKey FileDescription "Installer of the KV500 card reader service"
VIAddVersionKey ProductName "KV500 Service"
VIAddVersionKey ProductVersion "${VERSION}"
VIAddVersionKey FileVersion "${VERSION}"
VIAddVersionKey LegalCopyright ""

!include LogicLib.nsh
!include FileFunc.nsh

!define SERVICE "KV500Service"
!define REMOVAL "Software\Microsoft\Windows\CurrentVersion\Uninstall\${SERVICE}"
; An update goes where the program is, unless "/D=" says otherwise.
InstallDirRegKey HKLM "${REMOVAL}" "InstallLocation"
!define LINK "$SMPROGRAMS\KV500 Service Status.url"

; What the service's account may do and the service needs: the token of a session's user, and a process
; with that token. The last one every program has.
!define PRIVILEGES "SeTcbPrivilege/SeAssignPrimaryTokenPrivilege/SeIncreaseQuotaPrivilege/SeChangeNotifyPrivilege"

Page directory
Page instfiles
UninstPage uninstConfirm
UninstPage instfiles

; Runs a program of Windows without a window; its exit code lands in $0.
!macro Run COMMAND
  nsExec::ExecToLog '"$SYSDIR\${COMMAND}'
  Pop $0
!macroend
!define Run "!insertmacro Run"

; Ends the installer with everything as it was.
!macro Refuse TEXT
  DetailPrint "${TEXT}"
  MessageBox MB_ICONSTOP|MB_OK "${TEXT}" /SD IDOK
  SetErrorLevel 2
  Quit
!macroend
!define Refuse "!insertmacro Refuse"

!macro RequireAdministrator
  SetShellVarContext all
  UserInfo::GetAccountType
  Pop $0
  ${If} $0 != "Admin"
    ${Refuse} "The KV500 service can only be installed and removed by an administrator."
  ${EndIf}
!macroend

; Stops the service and waits until its program has ended: only then can the file be opened for
; writing. $1 is 1 if the service was running; the error flag says that it does not end.
!macro StopService
  StrCpy $1 0
  ${Run} 'net.exe" stop ${SERVICE}'
  ${If} $0 == 0
    StrCpy $1 1
  ${EndIf}
  StrCpy $2 0
  ${Do}
    ClearErrors
    ${IfNot} ${FileExists} "$INSTDIR\KV500Service.exe"
      ${ExitDo}
    ${EndIf}
    FileOpen $3 "$INSTDIR\KV500Service.exe" a
    ${IfNot} ${Errors}
      FileClose $3
      ${ExitDo}
    ${EndIf}
    Sleep 500
    IntOp $2 $2 + 1
    ${If} $2 >= 40
      SetErrors
      ${ExitDo}
    ${EndIf}
  ${Loop}
!macroend

; Starts the service that StopService has stopped.
!macro StartAgain
  ${If} $1 == 1
    ${Run} 'net.exe" start ${SERVICE}'
  ${EndIf}
!macroend

; Puts the program that was there back into its place, if there was one.
!macro PutBack
  Delete "$INSTDIR\KV500Service.exe.new"
  Delete "$INSTDIR\KV500Service.exe"
  Rename "$INSTDIR\KV500Service.exe.old" "$INSTDIR\KV500Service.exe"
!macroend

Function .onInit
  !insertmacro RequireAdministrator
FunctionEnd

Function un.onInit
  !insertmacro RequireAdministrator
FunctionEnd

; The port in config.txt, for the link; $4.
Function ReadPort
  StrCpy $4 5724
  ClearErrors
  FileOpen $5 "$INSTDIR\config.txt" r
  ${IfNot} ${Errors}
    ${Do}
      ClearErrors
      FileRead $5 $6
      ${If} ${Errors}
        ${ExitDo}
      ${EndIf}
      StrCpy $7 $6 5
      ${If} $7 == "Port="
        StrCpy $4 $6 "" 5
        IntOp $4 $4 + 0
      ${EndIf}
    ${Loop}
    FileClose $5
  ${EndIf}
  ClearErrors
FunctionEnd

Section "Install"
  ; Beside the old program first: from here on nothing is missing any more that could be refused.
  SetOutPath "$INSTDIR"
  ; Administrators and the service write here, others read: who can change the program or its settings
  ; decides what runs with the rights of the service. So this comes before there is a program, and
  ; without it there is none. By number, as the names are translated.
  ${Run} 'icacls.exe" "$INSTDIR" /inheritance:r /grant:r *S-1-5-18:(OI)(CI)F *S-1-5-32-544:(OI)(CI)F *S-1-5-32-545:(OI)(CI)RX'
  ${If} $0 != 0
    ${Refuse} "The rights on the folder $INSTDIR could not be set (error $0): others might write to it. Nothing was changed."
  ${EndIf}

  SetOverwrite try
  ClearErrors
  File "/oname=KV500Service.exe.new" "${PROGRAM}"
  ${If} ${Errors}
    ${Refuse} "The folder $INSTDIR can't be written. Nothing was changed."
  ${EndIf}

  DetailPrint "Stopping the service, if there is one..."
  !insertmacro StopService
  ${If} ${Errors}
    Delete "$INSTDIR\KV500Service.exe.new"
    !insertmacro StartAgain
    ${Refuse} "The running KV500 service does not stop. It was left as it is: restart the computer and try again."
  ${EndIf}
  Delete "$INSTDIR\KV500Service.exe.old"
  ClearErrors
  ${If} ${FileExists} "$INSTDIR\KV500Service.exe"
    Rename "$INSTDIR\KV500Service.exe" "$INSTDIR\KV500Service.exe.old"
  ${EndIf}
  ${IfNot} ${Errors}
    Rename "$INSTDIR\KV500Service.exe.new" "$INSTDIR\KV500Service.exe"
    ${If} ${Errors}
      !insertmacro PutBack
      SetErrors
    ${EndIf}
  ${EndIf}
  ${If} ${Errors}
    Delete "$INSTDIR\KV500Service.exe.new"
    !insertmacro StartAgain
    ${Refuse} "$INSTDIR\KV500Service.exe can't be replaced. Nothing was changed."
  ${EndIf}

  SetOverwrite off
  File "config.txt"
  SetOverwrite on

  ReadRegStr $8 HKLM "System\CurrentControlSet\Services\${SERVICE}" "ImagePath"
  ${If} $8 == ""
    ${Run} 'sc.exe" create ${SERVICE} binPath= "\"$INSTDIR\KV500Service.exe\"" start= auto DisplayName= "KV500 Card Reader Service"'
    ${If} $0 != 0
      StrCpy $9 $0
      !insertmacro PutBack
      ${Refuse} "The service could not be registered (error $9)."
    ${EndIf}
  ${ElseIf} $8 != '"$INSTDIR\KV500Service.exe"'
    ${Run} 'sc.exe" config ${SERVICE} binPath= "\"$INSTDIR\KV500Service.exe\""'
    ${If} $0 != 0
      StrCpy $9 $0
      !insertmacro PutBack
      !insertmacro StartAgain
      ${Refuse} "The service could not be moved to this folder (error $9). It is where it was."
    ${EndIf}
  ${EndIf}
  ${Run} 'sc.exe" description ${SERVICE} "Reads electronic health cards for web applications on this computer."'
  ; A process that ends without a word to the service manager counts as failed whatever its exit code;
  ; the flag adds a stop that is reported with an error.
  ${Run} 'sc.exe" failure ${SERVICE} reset= 86400 actions= restart/5000/restart/5000/restart/60000'
  ${Run} 'sc.exe" failureflag ${SERVICE} 1'
  ${Run} 'sc.exe" sidtype ${SERVICE} unrestricted'
  ${Run} 'sc.exe" privs ${SERVICE} ${PRIVILEGES}'
  ${If} $0 != 0
    DetailPrint "The privileges of the service could not be reduced; it runs with all of its account."
  ${EndIf}

  Delete "$INSTDIR\KV500Service.exe.old"
  WriteUninstaller "$INSTDIR\uninstall.exe"
  WriteRegStr HKLM "${REMOVAL}" "DisplayName" "KV500 Service"
  WriteRegStr HKLM "${REMOVAL}" "DisplayVersion" "${VERSION}"
  WriteRegStr HKLM "${REMOVAL}" "DisplayIcon" "$INSTDIR\KV500Service.exe"
  WriteRegStr HKLM "${REMOVAL}" "InstallLocation" "$INSTDIR"
  WriteRegStr HKLM "${REMOVAL}" "UninstallString" '"$INSTDIR\uninstall.exe"'
  WriteRegStr HKLM "${REMOVAL}" "QuietUninstallString" '"$INSTDIR\uninstall.exe" /S'
  WriteRegDWORD HKLM "${REMOVAL}" "NoModify" 1
  WriteRegDWORD HKLM "${REMOVAL}" "NoRepair" 1

  Call ReadPort
  WriteINIStr "${LINK}" "InternetShortcut" "URL" "http://127.0.0.1:$4/?action=status"

  ${Run} 'net.exe" start ${SERVICE}'
  ${If} $0 != 0
    MessageBox MB_ICONEXCLAMATION|MB_OK "The KV500 service is installed but does not start. The reason may stand in $INSTDIR\log.txt." /SD IDOK
    SetErrorLevel 3
  ${EndIf}
SectionEnd

Section "Uninstall"
  !insertmacro StopService
  ${If} ${Errors}
    ${Refuse} "The KV500 service does not stop. Nothing was removed: restart the computer and try again."
  ${EndIf}
  ${Run} 'sc.exe" delete ${SERVICE}'
  Delete "$INSTDIR\KV500Service.exe"
  Delete "${LINK}"
  DeleteRegKey HKLM "${REMOVAL}"

  ; Settings and log stay, for the next installation, unless "/PURGE" or the person says otherwise.
  StrCpy $1 0
  ${GetParameters} $2
  ClearErrors
  ${GetOptions} $2 "/PURGE" $3
  ${IfNot} ${Errors}
    StrCpy $1 1
  ${Else}
    MessageBox MB_YESNO|MB_DEFBUTTON2 "Remove the settings (config.txt) and the log (log.txt) too?" /SD IDNO IDNO keep
    StrCpy $1 1
    keep:
  ${EndIf}
  ${If} $1 == 1
    Delete "$INSTDIR\config.txt"
    Delete "$INSTDIR\log.txt"
  ${EndIf}
  Delete "$INSTDIR\uninstall.exe"
  SetOutPath "$TEMP"
  RMDir "$INSTDIR"
SectionEnd
