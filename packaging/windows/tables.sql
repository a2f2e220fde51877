-- What wixl can't express. Each line is one statement; packaging/windows/make-msi.sh runs them on the package.

UPDATE `Property` SET `Value` = 'INSTALLFOLDER;PURGE;WIX_UPGRADE_DETECTED;WIX_DOWNGRADE_DETECTED' WHERE `Property` = 'SecureCustomProperties'

-- The type of StartAgain: an action of a DLL (1), deferred (1024), with all rights (2048), run only in a rollback (256).
UPDATE `CustomAction` SET `Type` = 3329 WHERE `Action` = 'StartAgain'

-- The old version is removed after the new one has been installed, so the service is not deleted in between.
INSERT INTO `InstallExecuteSequence` (`Action`, `Sequence`) VALUES ('InstallExecute', 6500)
UPDATE `InstallExecuteSequence` SET `Sequence` = 6550 WHERE `Action` = 'RemoveExistingProducts'
-- A service that was stopped stays stopped.
UPDATE `InstallExecuteSequence` SET `Condition` = 'VersionNT AND NOT SERVICESTOPPED' WHERE `Action` = 'StartServices'

-- The settings file is never overwritten (128) and never removed (16), and belongs to a 64-bit component (256). If settings are moved here from another folder, the file is not installed.
UPDATE `Component` SET `Attributes` = 400 WHERE `Component` = 'Settings'
UPDATE `Component` SET `Condition` = 'NOT SETTINGSFOLDER' WHERE `Component` = 'Settings'
CREATE TABLE `MoveFile` (`FileKey` CHAR(72) NOT NULL, `Component_` CHAR(72) NOT NULL, `SourceName` CHAR(255), `DestName` CHAR(255), `SourceFolder` CHAR(72), `DestFolder` CHAR(72) NOT NULL, `Options` SHORT NOT NULL PRIMARY KEY `FileKey`)
INSERT INTO `MoveFile` (`FileKey`, `Component_`, `SourceName`, `DestName`, `SourceFolder`, `DestFolder`, `Options`) VALUES ('Settings', 'Service', 'config.txt', 'config.txt', 'SETTINGSFOLDER', 'INSTALLFOLDER', 1)
INSERT INTO `InstallExecuteSequence` (`Action`, `Sequence`) VALUES ('MoveFiles', 3800)

-- Removed by an installation (1): what an earlier setup program or an earlier folder has left. Removed by a removal (2): settings and log, if PURGE asks for it, and empty folders.
INSERT INTO `RemoveFile` (`FileKey`, `Component_`, `FileName`, `DirProperty`, `InstallMode`) VALUES ('LeftProgram', 'Service', 'KV500Service.exe', 'LEFTFOLDER', 1)
INSERT INTO `RemoveFile` (`FileKey`, `Component_`, `FileName`, `DirProperty`, `InstallMode`) VALUES ('LeftCheck', 'Service', 'kv500-check.exe', 'LEFTFOLDER', 1)
INSERT INTO `RemoveFile` (`FileKey`, `Component_`, `FileName`, `DirProperty`, `InstallMode`) VALUES ('OldRemover', 'Service', 'uninstall.exe', 'SERVICEFOLDER', 1)
INSERT INTO `RemoveFile` (`FileKey`, `Component_`, `FileName`, `DirProperty`, `InstallMode`) VALUES ('OldLink', 'Service', 'KV500 Service Status.url', 'ProgramMenuFolder', 1)
INSERT INTO `RemoveFile` (`FileKey`, `Component_`, `FileName`, `DirProperty`, `InstallMode`) VALUES ('StatusLink', 'Links', 'KV500 Status.url', 'Links', 2)
INSERT INTO `RemoveFile` (`FileKey`, `Component_`, `FileName`, `DirProperty`, `InstallMode`) VALUES ('Settings', 'Service', 'config.txt', 'PURGEFOLDER', 2)
INSERT INTO `RemoveFile` (`FileKey`, `Component_`, `FileName`, `DirProperty`, `InstallMode`) VALUES ('Log', 'Service', 'log.txt', 'PURGEFOLDER', 2)
INSERT INTO `RemoveFile` (`FileKey`, `Component_`, `DirProperty`, `InstallMode`) VALUES ('Folder', 'Service', 'INSTALLFOLDER', 2)
CREATE TABLE `RemoveRegistry` (`RemoveRegistry` CHAR(72) NOT NULL, `Root` SHORT NOT NULL, `Key` CHAR(255) NOT NULL, `Name` CHAR(255), `Component_` CHAR(72) NOT NULL PRIMARY KEY `RemoveRegistry`)
INSERT INTO `RemoveRegistry` (`RemoveRegistry`, `Root`, `Key`, `Name`, `Component_`) VALUES ('OldRemover', 2, 'Software\Microsoft\Windows\CurrentVersion\Uninstall\KV500Service', '-', 'Service')

-- The link to the status page.
INSERT INTO `CreateFolder` (`Directory_`, `Component_`) VALUES ('Links', 'Links')
CREATE TABLE `IniFile` (`IniFile` CHAR(72) NOT NULL, `FileName` CHAR(255) NOT NULL, `DirProperty` CHAR(72), `Section` CHAR(96) NOT NULL, `Key` CHAR(128) NOT NULL, `Value` CHAR(255) NOT NULL, `Action` SHORT NOT NULL, `Component_` CHAR(72) NOT NULL PRIMARY KEY `IniFile`)
INSERT INTO `IniFile` (`IniFile`, `FileName`, `DirProperty`, `Section`, `Key`, `Value`, `Action`, `Component_`) VALUES ('StatusLink', 'KV500 Status.url', 'Links', 'InternetShortcut', 'URL', 'http://127.0.0.1:[STATUSPORT]/?action=status', 0, 'Links')
INSERT INTO `InstallExecuteSequence` (`Action`, `Sequence`) VALUES ('WriteIniValues', 5100)
INSERT INTO `InstallExecuteSequence` (`Action`, `Sequence`) VALUES ('RemoveIniValues', 2700)

-- The rights of a folder that is not below Program Files: administrators and the service write to it, others only read.
INSERT INTO `CreateFolder` (`Directory_`, `Component_`) VALUES ('INSTALLFOLDER', 'Service')
CREATE TABLE `MsiLockPermissionsEx` (`MsiLockPermissionsEx` CHAR(72) NOT NULL, `LockObject` CHAR(72) NOT NULL, `Table` CHAR(32) NOT NULL, `SDDLText` CHAR(0) NOT NULL, `Condition` CHAR(255) PRIMARY KEY `MsiLockPermissionsEx`)
INSERT INTO `MsiLockPermissionsEx` (`MsiLockPermissionsEx`, `LockObject`, `Table`, `SDDLText`, `Condition`) VALUES ('Folder', 'INSTALLFOLDER', 'CreateFolder', 'O:BAG:BAD:PAI(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;OICI;0x1200a9;;;BU)', 'NOT (INSTALLFOLDER ~<< ProgramFiles64Folder)')
INSERT INTO `InstallExecuteSequence` (`Action`, `Sequence`) VALUES ('RemoveFolders', 3600)
INSERT INTO `InstallExecuteSequence` (`Action`, `Sequence`) VALUES ('CreateFolders', 3700)
