-- What wixl can't say, a statement a line; packaging/windows.sh puts them into the package.

UPDATE `Property` SET `Value` = 'INSTALLFOLDER;PURGE;WIX_UPGRADE_DETECTED;WIX_DOWNGRADE_DETECTED' WHERE `Property` = 'SecureCustomProperties'

-- An action of a DLL (1) that runs later (1024), with all rights (2048), if the installation is rolled back (256).
UPDATE `CustomAction` SET `Type` = 3329 WHERE `Action` = 'StartAgain'

-- The old version is taken off the list after the new one is in its place: the service is never deleted meanwhile.
INSERT INTO `InstallExecuteSequence` (`Action`, `Sequence`) VALUES ('InstallExecute', 6500)
UPDATE `InstallExecuteSequence` SET `Sequence` = 6550 WHERE `Action` = 'RemoveExistingProducts'
-- What was stopped stays so.
UPDATE `InstallExecuteSequence` SET `Condition` = 'VersionNT AND NOT SERVICESTOPPED' WHERE `Action` = 'StartServices'

-- Settings are never overwritten (128) and never removed (16), in the 64-bit view (256); those that are taken over from another folder come in their place.
UPDATE `Component` SET `Attributes` = 400 WHERE `Component` = 'Settings'
UPDATE `Component` SET `Condition` = 'NOT SETTINGSFOLDER' WHERE `Component` = 'Settings'
CREATE TABLE `MoveFile` (`FileKey` CHAR(72) NOT NULL, `Component_` CHAR(72) NOT NULL, `SourceName` CHAR(255), `DestName` CHAR(255), `SourceFolder` CHAR(72), `DestFolder` CHAR(72) NOT NULL, `Options` SHORT NOT NULL PRIMARY KEY `FileKey`)
INSERT INTO `MoveFile` (`FileKey`, `Component_`, `SourceName`, `DestName`, `SourceFolder`, `DestFolder`, `Options`) VALUES ('Settings', 'Service', 'config.txt', 'config.txt', 'SETTINGSFOLDER', 'INSTALLFOLDER', 1)
INSERT INTO `InstallExecuteSequence` (`Action`, `Sequence`) VALUES ('MoveFiles', 3800)

-- With the installation (1): what an earlier setup program or an earlier folder leaves. With the removal (2): settings and log, if they are to go, and empty folders.
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

-- The link to the status.
INSERT INTO `CreateFolder` (`Directory_`, `Component_`) VALUES ('Links', 'Links')
CREATE TABLE `IniFile` (`IniFile` CHAR(72) NOT NULL, `FileName` CHAR(255) NOT NULL, `DirProperty` CHAR(72), `Section` CHAR(96) NOT NULL, `Key` CHAR(128) NOT NULL, `Value` CHAR(255) NOT NULL, `Action` SHORT NOT NULL, `Component_` CHAR(72) NOT NULL PRIMARY KEY `IniFile`)
INSERT INTO `IniFile` (`IniFile`, `FileName`, `DirProperty`, `Section`, `Key`, `Value`, `Action`, `Component_`) VALUES ('StatusLink', 'KV500 Status.url', 'Links', 'InternetShortcut', 'URL', 'http://127.0.0.1:[STATUSPORT]/?action=status', 0, 'Links')
INSERT INTO `InstallExecuteSequence` (`Action`, `Sequence`) VALUES ('WriteIniValues', 5100)
INSERT INTO `InstallExecuteSequence` (`Action`, `Sequence`) VALUES ('RemoveIniValues', 2700)

-- A folder elsewhere than below Program Files: administrators and the service write to it, others read.
INSERT INTO `CreateFolder` (`Directory_`, `Component_`) VALUES ('INSTALLFOLDER', 'Service')
CREATE TABLE `MsiLockPermissionsEx` (`MsiLockPermissionsEx` CHAR(72) NOT NULL, `LockObject` CHAR(72) NOT NULL, `Table` CHAR(32) NOT NULL, `SDDLText` CHAR(0) NOT NULL, `Condition` CHAR(255) PRIMARY KEY `MsiLockPermissionsEx`)
INSERT INTO `MsiLockPermissionsEx` (`MsiLockPermissionsEx`, `LockObject`, `Table`, `SDDLText`, `Condition`) VALUES ('Folder', 'INSTALLFOLDER', 'CreateFolder', 'O:BAG:BAD:PAI(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;OICI;0x1200a9;;;BU)', 'NOT (INSTALLFOLDER ~<< ProgramFiles64Folder)')
INSERT INTO `InstallExecuteSequence` (`Action`, `Sequence`) VALUES ('RemoveFolders', 3600)
INSERT INTO `InstallExecuteSequence` (`Action`, `Sequence`) VALUES ('CreateFolders', 3700)
