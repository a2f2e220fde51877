// Every text that a person reads, in both languages.
#ifndef KV500_CHECK_TEXTS_H
#define KV500_CHECK_TEXTS_H

#include "check/finding.h"

namespace check::texts {

// What all looks share.
inline constexpr Phrase noAnswerInTime{"no answer within 3 s", "keine Antwort innerhalb von 3 s"};
inline constexpr Phrase noAnswerAdvice{
    "This part of the system hangs. Restart the machine; if that does not help, look into that "
    "part's own log.",
    "Dieser Teil des Systems hängt. Starten Sie den Rechner neu; hilft das nicht, sehen Sie im "
    "Protokoll dieses Teils nach."};

// service
inline constexpr Phrase serviceRuns{"installed and running (process {0}, as {1})",
                                    "installiert und läuft (Prozess {0}, als {1})"};
inline constexpr Phrase serviceUnknown{"the service manager does not say whether the service runs",
                                       "die Dienstverwaltung sagt nicht, ob der Dienst läuft"};
inline constexpr Phrase serviceUnknownAdvice{
    "Ask it as an administrator: on Windows, sc.exe query KV500Service; on Linux, systemctl status "
    "kv500service",
    "Fragen Sie sie als Administrator: unter Windows sc.exe query KV500Service, unter Linux "
    "systemctl status kv500service"};
inline constexpr Phrase serviceAbsent{"the service KV500Service is not installed",
                                      "der Dienst KV500Service ist nicht installiert"};
inline constexpr Phrase serviceAbsentAdvice{
    "Install it with the installer or the package.",
    "Installieren Sie ihn mit dem Installationsprogramm oder dem Paket."};
inline constexpr Phrase serviceTrial{
    "no installed service is known; {0} is the folder of a simulator or a trial",
    "kein installierter Dienst ist bekannt; {0} ist der Ordner eines Simulators oder einer Probe"};
inline constexpr Phrase serviceTrialAdvice{
    "For daily work install the service.",
    "Installieren Sie für den täglichen Betrieb den Dienst."};
inline constexpr Phrase serviceElsewhere{
    "the installed service does not lie in {0}, but is {1}",
    "der installierte Dienst liegt nicht in {0}, sondern ist {1}"};
inline constexpr Phrase serviceElsewhereAdvice{
    "Leave --folder out to look at the installed service.",
    "Lassen Sie --folder weg, um den installierten Dienst zu prüfen."};
inline constexpr Phrase serviceStopped{"installed but stopped (last exit code {0})",
                                       "installiert, aber angehalten (letzter Rückgabewert {0})"};
inline constexpr Phrase serviceStarting{"is just being started", "wird gerade gestartet"};
inline constexpr Phrase serviceStopping{"is just being stopped", "wird gerade angehalten"};
inline constexpr Phrase serviceWaitAdvice{"Run this again in a few seconds.",
                                          "Führen Sie dies in einigen Sekunden noch einmal aus."};
inline constexpr Phrase serviceStartAdvice{"Start it as an administrator: {0}",
                                           "Starten Sie ihn als Administrator: {0}"};
inline constexpr Phrase serviceFlaps{
    "starts and stops again and again: {0} times, most recently within the last 10 minutes (last "
    "exit code {1})",
    "startet und endet immer wieder: {0}-mal, zuletzt innerhalb der letzten 10 Minuten (letzter "
    "Rückgabewert {1})"};
inline constexpr Phrase serviceFlapsAdvice{
    "See the line \"log\". If it gives no reason, the event log of Windows or journalctl -u "
    "kv500service does.",
    "Siehe die Zeile \"log\". Nennt sie keinen Grund, steht er im Ereignisprotokoll von Windows "
    "oder in journalctl -u kv500service."};
inline constexpr Phrase serviceDisabled{"is disabled and does not run",
                                        "ist deaktiviert und läuft nicht"};
inline constexpr Phrase serviceNotNextTime{
    "runs, but is disabled: it will not run after the next start of the machine",
    "läuft, ist aber deaktiviert: nach dem nächsten Start des Rechners läuft er nicht mehr"};
inline constexpr Phrase serviceEnableAdvice{
    "Enable it as an administrator: {0}; if it does not run, start it then: {1}",
    "Aktivieren Sie ihn als Administrator: {0}; läuft er nicht, starten Sie ihn dann: {1}"};
inline constexpr Phrase serviceAccount{"is set to run as {0}, not as {1}",
                                       "ist für das Konto {0} eingerichtet, nicht für {1}"};
inline constexpr Phrase serviceAccountAdvice{
    "Under another account it may not start a browser in a user's session; install it again.",
    "Unter einem anderen Konto darf er womöglich keinen Browser in der Sitzung eines Benutzers "
    "starten; installieren Sie ihn neu."};

// settings
inline constexpr Phrase settingsHold{"config.txt is read: {0}", "config.txt wird gelesen: {0}"};
inline constexpr Phrase settingsDefaults{"the defaults hold: {0}", "es gelten die Vorgaben: {0}"};
inline constexpr Phrase settingsAbsent{"no config.txt in {0}", "keine config.txt in {0}"};
inline constexpr Phrase settingsAbsentAdvice{
    "If other settings are wanted, write them into that file.",
    "Schreiben Sie andere Einstellungen, falls gewünscht, in diese Datei."};
inline constexpr Phrase settingsNoFile{
    "config.txt is no ordinary file and is not read",
    "config.txt ist keine gewöhnliche Datei und wird nicht gelesen"};
inline constexpr Phrase settingsNoFileAdvice{"Put a text file in its place.",
                                             "Ersetzen Sie sie durch eine Textdatei."};
inline constexpr Phrase settingsTooLarge{
    "config.txt has {0} bytes; above 1 MiB it is not read",
    "config.txt hat {0} Bytes; über 1 MiB wird sie nicht gelesen"};
inline constexpr Phrase settingsUnreadable{
    "config.txt is there, but can't be read with this user's rights: the settings are not known",
    "config.txt ist da, aber mit den Rechten dieses Benutzers nicht lesbar: die Einstellungen sind "
    "nicht bekannt"};
inline constexpr Phrase settingsHidden{
    "this user has no right to look into the folder of config.txt: the settings are not known",
    "dieser Benutzer darf nicht in den Ordner von config.txt sehen: die Einstellungen sind nicht "
    "bekannt"};
inline constexpr Phrase seeSettings{"See the line \"settings\".", "Siehe die Zeile \"settings\"."};
inline constexpr Phrase settingsUnreadableAdvice{
    "Run this as an administrator; if it says the same then, the service can't read the file "
    "either.",
    "Führen Sie dies als Administrator aus; bleibt es dabei, kann auch der Dienst die Datei nicht "
    "lesen."};
inline constexpr Phrase settingsNotForService{"config.txt can't be read by the service",
                                              "der Dienst darf config.txt nicht lesen"};
inline constexpr Phrase settingsRightsAdvice{
    "Give it to root: chown root: config.txt; chmod u+r config.txt; then start the service again.",
    "Machen Sie root zum Besitzer: chown root: config.txt; chmod u+r config.txt; starten Sie dann "
    "den Dienst neu."};
inline constexpr Phrase settingsUtf16{
    "config.txt is stored as UTF-16, so that it counts for nothing",
    "config.txt ist als UTF-16 gespeichert und gilt darum nicht"};
inline constexpr Phrase settingsBom{
    "config.txt begins with a byte order mark, so that its first line counts for nothing",
    "config.txt beginnt mit einer Bytereihenfolge-Marke (BOM), darum gilt ihre erste Zeile nicht"};
inline constexpr Phrase settingsEncodingAdvice{
    "Save it as UTF-8 without a byte order mark and start the service again.",
    "Speichern Sie sie als UTF-8 ohne BOM und starten Sie den Dienst neu."};
inline constexpr Phrase settingsNoEquals{
    "the whole of config.txt counts for nothing: line {0} has no \"=\" ({1})",
    "die ganze config.txt gilt nicht: in Zeile {0} fehlt das \"=\" ({1})"};
inline constexpr Phrase settingsNoName{
    "the whole of config.txt counts for nothing: line {0} has no name before its \"=\" ({1})",
    "die ganze config.txt gilt nicht: in Zeile {0} fehlt der Name vor dem \"=\" ({1})"};
inline constexpr Phrase settingsTwice{
    "the whole of config.txt counts for nothing: line {0} sets {1} for the second time",
    "die ganze config.txt gilt nicht: Zeile {0} setzt {1} zum zweiten Mal"};
inline constexpr Phrase settingsFaultAdvice{
    "Each line is Name=Value, or a comment that begins with #, and no name stands twice; correct "
    "the line and start the service again.",
    "Jede Zeile ist Name=Wert oder ein Kommentar, der mit # beginnt, und kein Name steht zweimal "
    "da; berichtigen Sie die Zeile und starten Sie den Dienst neu."};
inline constexpr Phrase settingsBadValue{
    "{0}: \"{1}\" is not a valid value; its default holds",
    "{0}: \"{1}\" ist kein gültiger Wert; es gilt die Vorgabe"};
inline constexpr Phrase settingsBadGuard{
    "{0}: \"{1}\" is not a valid value; it counts as absent, so that everybody is answered",
    "{0}: \"{1}\" ist kein gültiger Wert; die Einstellung gilt als nicht gesetzt, also bekommen "
    "alle eine Antwort"};
inline constexpr Phrase settingsBadHost{
    "AllowHost: \"{0}\" is no host name; no request fits it",
    "AllowHost: \"{0}\" ist kein Rechnername; keine Anfrage passt dazu"};
inline constexpr Phrase settingsHostAdvice{
    "Write names with commas between them, such as 127.0.0.1,localhost",
    "Schreiben Sie Namen mit Kommas dazwischen, etwa 127.0.0.1,localhost"};
inline constexpr Phrase settingsPortAdvice{
    "Write a number from 1024 to 32766, without blanks.",
    "Schreiben Sie eine Zahl von 1024 bis 32766, ohne Leerzeichen."};
inline constexpr Phrase settingsSwitchAdvice{"Write yes or no, without blanks.",
                                             "Schreiben Sie yes oder no, ohne Leerzeichen."};
inline constexpr Phrase settingsMisspelt{"{0}: did you mean {1}? {0} is no setting",
                                         "{0}: meinten Sie {1}? {0} ist keine Einstellung"};
inline constexpr Phrase settingsCase{
    "{0}: names are case-sensitive, {1}",
    "{0}: bei Namen zählt Groß- und Kleinschreibung; richtig ist {1}"};
inline constexpr Phrase settingsBlanks{
    "{0}: there are blanks around the \"=\", so that the line sets nothing",
    "{0}: um das \"=\" stehen Leerzeichen, darum setzt die Zeile nichts"};
inline constexpr Phrase settingsBlankUrl{
    "URL: \"{0}\" begins or ends with a blank, which is handed over to the browser",
    "URL: \"{0}\" beginnt oder endet mit einem Leerzeichen, das an den Browser übergeben wird"};
inline constexpr Phrase settingsBlanksAdvice{
    "Remove the blanks and start the service again.",
    "Entfernen Sie die Leerzeichen und starten Sie den Dienst neu."};
inline constexpr Phrase settingsUnknown{"{0} is no setting", "{0} ist keine Einstellung"};
inline constexpr Phrase settingsManyUnknown{"{0} more names are no settings",
                                            "{0} weitere Namen sind keine Einstellungen"};
inline constexpr Phrase settingsNameAdvice{
    "Correct the name and start the service again.",
    "Berichtigen Sie den Namen und starten Sie den Dienst neu."};
inline constexpr Phrase settingsUnknownAdvice{"The settings are {0}.",
                                              "Die Einstellungen sind {0}."};
inline constexpr Phrase settingsNoProgram{
    "BrowserCommand: \"{0}\" is no program that can be started",
    "BrowserCommand: \"{0}\" ist kein Programm, das gestartet werden kann"};
inline constexpr Phrase settingsNoProgramAdvice{
    "Name the program's full path, without quotation marks and arguments.",
    "Nennen Sie den vollständigen Pfad des Programms, ohne Anführungszeichen und Argumente."};
inline constexpr Phrase settingsNoBrowser{
    "CallBrowser is on, and BrowserCommand is empty: no browser is started",
    "CallBrowser ist an, BrowserCommand aber leer: kein Browser wird gestartet"};
inline constexpr Phrase settingsNoBrowserAdvice{
    "Name the browser's program in BrowserCommand.",
    "Nennen Sie in BrowserCommand das Programm des Browsers."};
inline constexpr Phrase settingsNoUrl{
    "AppendCardId is on, and URL is empty: the number is not handed over",
    "AppendCardId ist an, URL aber leer: die Nummer wird nicht übergeben"};
inline constexpr Phrase settingsNoUrlAdvice{
    "Write the address into URL, or AppendCardId=no.",
    "Schreiben Sie die Adresse in URL, oder AppendCardId=no."};

// access
inline constexpr Phrase accessOne{"pages of {0} may read the answers, and no others",
                                  "Seiten von {0} dürfen die Antworten lesen, keine anderen"};
inline constexpr Phrase accessAll{"AllowOrigin=*: any page in the browser may read the card",
                                  "AllowOrigin=*: jede Seite im Browser darf die Karte lesen"};
inline constexpr Phrase accessBad{
    "AllowOrigin: {0} is no origin as browsers send it: no page can read the answers",
    "AllowOrigin: {0} ist kein Ursprung, wie Browser ihn senden: keine Seite kann die Antworten "
    "lesen"};
inline constexpr Phrase accessUnknown{
    "which pages may read the answers is not known, because config.txt could not be read",
    "welche Seiten die Antworten lesen dürfen, ist nicht bekannt, weil config.txt nicht gelesen "
    "werden konnte"};
inline constexpr Phrase accessAdvice{
    "Write behind AllowOrigin= the one origin of the web application: scheme, host and, unless it "
    "is the usual one, port, in small letters, with nothing behind, such as "
    "https://practice.example",
    "Tragen Sie hinter AllowOrigin= den Ursprung der Webanwendung ein: Schema, Rechnername und, "
    "wenn es nicht der übliche ist, der Port; in Kleinbuchstaben und ohne etwas dahinter, etwa "
    "https://praxis.example"};

// port
inline constexpr Phrase portServed{"the service listens on 127.0.0.1:{0}",
                                   "der Dienst lauscht auf 127.0.0.1:{0}"};
inline constexpr Phrase portSomebody{
    "somebody listens on 127.0.0.1:{0}; who, only an administrator can see",
    "auf 127.0.0.1:{0} lauscht ein Programm; welches, sieht nur ein Administrator"};
inline constexpr Phrase portNobody{"nobody listens on 127.0.0.1:{0}",
                                   "kein Programm lauscht auf 127.0.0.1:{0}"};
inline constexpr Phrase portNobodyAdvice{
    "Start the service. If it runs, it waits for somebody to close a message box, or config.txt "
    "has changed since its start: start it again.",
    "Starten Sie den Dienst. Läuft er, wartet er darauf, dass jemand ein Meldungsfenster schließt, "
    "oder config.txt wurde seit seinem Start geändert: starten Sie ihn neu."};
inline constexpr Phrase portAssumed{
    "not known, because config.txt could not be read; what follows is about the default, {0}",
    "nicht bekannt, weil config.txt nicht gelesen werden konnte; das Folgende gilt für die Vorgabe "
    "{0}"};
inline constexpr Phrase portRefused{
    "browsers refuse port {0}: no page can reach the service",
    "Browser lassen Port {0} nicht zu: keine Seite erreicht den Dienst"};
inline constexpr Phrase portRefusedAdvice{
    "Choose another port with Port= in config.txt and in the web application.",
    "Wählen Sie mit Port= in config.txt und in der Webanwendung einen anderen Port."};
inline constexpr Phrase portReserved{
    "Windows has reserved the ports {1} to {2}, and {0} is one of them",
    "Windows hat die Ports {1} bis {2} reserviert, darunter {0}"};
inline constexpr Phrase portReservedAdvice{
    "As an administrator: net stop winnat, then netsh interface ipv4 add excludedportrange "
    "protocol=tcp startport={0} numberofports=1, then net start winnat; or choose another port.",
    "Als Administrator: net stop winnat, dann netsh interface ipv4 add excludedportrange "
    "protocol=tcp startport={0} numberofports=1, dann net start winnat; oder wählen Sie einen "
    "anderen Port."};
inline constexpr Phrase portTaken{
    "another program listens on 127.0.0.1:{0}: {1} (process {2})",
    "ein anderes Programm lauscht auf 127.0.0.1:{0}: {1} (Prozess {2})"};
inline constexpr Phrase portTakenAdvice{
    "End that program, or choose another port with Port= in config.txt and in the web application.",
    "Beenden Sie dieses Programm, oder wählen Sie mit Port= in config.txt und in der Webanwendung "
    "einen anderen Port."};
inline constexpr Phrase portLocalhost{
    "another program listens on [::1]:{0}: {1} (process {2})",
    "ein anderes Programm lauscht auf [::1]:{0}: {1} (Prozess {2})"};
inline constexpr Phrase portLocalhostAdvice{
    "A page that asks \"localhost\" may reach that program; have it ask 127.0.0.1.",
    "Eine Seite, die \"localhost\" fragt, erreicht womöglich dieses Programm; lassen Sie sie "
    "127.0.0.1 fragen."};

// answer
inline constexpr Phrase answerNoReader{"answered after {0} ms; the service sees no reader",
                                       "Antwort nach {0} ms; der Dienst sieht keinen Kartenleser"};
inline constexpr Phrase answerNoCard{
    "answered after {0} ms; the service sees a reader without a card",
    "Antwort nach {0} ms; der Dienst sieht einen Kartenleser ohne Karte"};
inline constexpr Phrase answerCard{
    "answered after {0} ms; the service sees a reader with a card",
    "Antwort nach {0} ms; der Dienst sieht einen Kartenleser mit Karte"};
inline constexpr Phrase answerNobody{"no connection to 127.0.0.1:{0}",
                                     "keine Verbindung zu 127.0.0.1:{0}"};
inline constexpr Phrase answerNobodyAdvice{"See the line \"port\" above.",
                                           "Siehe oben die Zeile \"port\"."};
inline constexpr Phrase answerLate{"connected, but no whole answer within 3 s",
                                   "verbunden, aber keine vollständige Antwort innerhalb von 3 s"};
inline constexpr Phrase answerLateAdvice{
    "Another program may hold the card (see \"card\"), or the smart-card service hangs (see "
    "\"smartcard-service\"), or it is not the service (see \"port\").",
    "Womöglich hält ein anderes Programm die Karte (siehe \"card\"), oder der Smartcard-Dienst "
    "hängt (siehe \"smartcard-service\"), oder es ist nicht der Dienst (siehe \"port\")."};
inline constexpr Phrase answerClosed{"the connection was closed without an answer",
                                     "die Verbindung wurde ohne Antwort geschlossen"};
inline constexpr Phrase answerClosedAdvice{
    "Eight connections at a time are served; close pages that ask without end. Or it is not the "
    "service: see \"port\".",
    "Acht Verbindungen werden zugleich bedient; schließen Sie Seiten, die ohne Ende fragen. Oder "
    "es ist nicht der Dienst: siehe \"port\"."};
inline constexpr Phrase answerOthersOnly{
    "the connection was closed without an answer; with OnlyActiveUser=yes that is so for every "
    "user but the one at the screen",
    "die Verbindung wurde ohne Antwort geschlossen; mit OnlyActiveUser=yes ergeht es jedem "
    "Benutzer so, der nicht am Bildschirm sitzt"};
inline constexpr Phrase answerClosedUnknown{
    "the connection was closed without an answer; settings that are not known here may want it so "
    "(AllowHost, OnlyActiveUser)",
    "die Verbindung wurde ohne Antwort geschlossen; Einstellungen, die hier nicht bekannt sind, "
    "können das verlangen (AllowHost, OnlyActiveUser)"};
inline constexpr Phrase answerOthersOnlyAdvice{
    "Run this as the user at the screen.",
    "Führen Sie dies als der Benutzer aus, der am Bildschirm sitzt."};
inline constexpr Phrase answerForeign{"what answers is not the service: {0}",
                                      "es antwortet nicht der Dienst: {0}"};
inline constexpr Phrase answerOldSettings{
    "the service still works with AllowOrigin={0}; after its next start it is {1}",
    "der Dienst arbeitet noch mit AllowOrigin={0}; nach seinem nächsten Start gilt {1}"};
inline constexpr Phrase answerOldSettingsAdvice{
    "Start the service again as soon as the line \"settings\" says what you want.",
    "Starten Sie den Dienst neu, sobald in der Zeile \"settings\" steht, was Sie wollen."};

// log
inline constexpr Phrase logGood{"log.txt is written ({0} bytes)",
                                "log.txt wird geschrieben ({0} Bytes)"};
inline constexpr Phrase logAbsent{
    "no log.txt in {0}: the service was not started there yet",
    "keine log.txt in {0}: der Dienst wurde dort noch nicht gestartet"};
inline constexpr Phrase logAbsentAdvice{"Start the service.", "Starten Sie den Dienst."};
inline constexpr Phrase logUnwritable{"log.txt in {0} can't be written",
                                      "log.txt in {0} kann nicht geschrieben werden"};
inline constexpr Phrase logUnwritableAdvice{
    "Give the service the right to write into its folder; log.txt must be an ordinary file there "
    "that is not read-only.",
    "Geben Sie dem Dienst das Recht, in seinen Ordner zu schreiben; log.txt muss dort eine "
    "gewöhnliche Datei ohne Schreibschutz sein."};
inline constexpr Phrase logDiskFull{
    "log.txt can't be written: the disk of {0} is full",
    "log.txt kann nicht geschrieben werden: der Datenträger von {0} ist voll"};
inline constexpr Phrase logDiskFullAdvice{"Free some space on it.", "Schaffen Sie dort Platz."};
inline constexpr Phrase logUnreadable{
    "log.txt is there ({0} bytes); what it says, only an administrator can see",
    "log.txt ist da ({0} Bytes); was darin steht, sieht nur ein Administrator"};
inline constexpr Phrase logHidden{"this user has no right to look into the folder of log.txt",
                                  "dieser Benutzer darf nicht in den Ordner von log.txt sehen"};
inline constexpr Phrase logHiddenAdvice{
    "Run this as an administrator to see what it says.",
    "Führen Sie dies als Administrator aus, um zu sehen, was darin steht."};
inline constexpr Phrase logLarge{"log.txt has {0} MB", "log.txt hat {0} MB"};
inline constexpr Phrase logLargeAdvice{
    "Stop the service, move the file away and start the service again.",
    "Halten Sie den Dienst an, verschieben Sie die Datei und starten Sie ihn wieder."};
inline constexpr Phrase logPort{"since the last start: the port could not be opened ({0})",
                                "seit dem letzten Start: der Port ließ sich nicht öffnen ({0})"};
inline constexpr Phrase logSmartcard{
    "since the last start: trouble with the smart-card service ({0})",
    "seit dem letzten Start: Schwierigkeiten mit dem Smartcard-Dienst ({0})"};
inline constexpr Phrase logSettings{"since the last start: bad settings ({0})",
                                    "seit dem letzten Start: fehlerhafte Einstellungen ({0})"};
inline constexpr Phrase logSeveral{"since the last start: several readers ({0})",
                                   "seit dem letzten Start: mehrere Kartenleser ({0})"};
inline constexpr Phrase logReasonAdvice{"See the line \"{0}\".", "Siehe die Zeile \"{0}\"."};

// smartcard-service
inline constexpr Phrase smartcardRuns{"runs", "läuft"};
inline constexpr Phrase smartcardOnDemand{
    "is ready; it starts with the first program that asks for a reader",
    "ist bereit; er startet mit dem ersten Programm, das nach einem Leser fragt"};
inline constexpr Phrase smartcardStopped{"the smart-card service is stopped",
                                         "der Smartcard-Dienst ist angehalten"};
inline constexpr Phrase smartcardStoppedAdvice{
    "Plug the reader in, which starts it on Windows, or start it as an administrator: {0}",
    "Stecken Sie den Leser ein, was ihn unter Windows startet, oder starten Sie ihn als "
    "Administrator: {0}"};
inline constexpr Phrase smartcardDisabled{"the smart-card service is disabled",
                                          "der Smartcard-Dienst ist deaktiviert"};
inline constexpr Phrase smartcardAbsent{"there is no smart-card service",
                                        "es gibt keinen Smartcard-Dienst"};
inline constexpr Phrase smartcardAbsentAdvice{"Install it: {0}", "Installieren Sie ihn: {0}"};
inline constexpr Phrase smartcardRefused{"the smart-card service refuses this user (0x{0})",
                                         "der Smartcard-Dienst weist diesen Benutzer ab (0x{0})"};
inline constexpr Phrase smartcardRefusedAdvice{
    "Run this as an administrator. The service itself is not refused as long as it runs under its "
    "usual account.",
    "Führen Sie dies als Administrator aus. Der Dienst selbst wird unter seinem üblichen Konto "
    "nicht abgewiesen."};
inline constexpr Phrase smartcardFails{"the smart-card service answers with an error (0x{0})",
                                       "der Smartcard-Dienst antwortet mit einem Fehler (0x{0})"};
inline constexpr Phrase smartcardFailsAdvice{
    "Restart it as an administrator: on Windows net stop SCardSvr, then net start SCardSvr; on "
    "Linux systemctl restart pcscd",
    "Starten Sie ihn als Administrator neu: unter Windows net stop SCardSvr, dann net start "
    "SCardSvr; unter Linux systemctl restart pcscd"};

// readers
inline constexpr Phrase readersOne{"{0}", "{0}"};
inline constexpr Phrase readersNone{"no reader at all", "überhaupt kein Kartenleser"};
inline constexpr Phrase readersOthers{"no KV500 reader; there are others: {0}",
                                      "kein KV500-Kartenleser; andere sind da: {0}"};
inline constexpr Phrase readersNoneAdvice{
    "Plug the reader in, and see that its driver is installed. Over a remote connection the "
    "readers of the other computer may be shown.",
    "Stecken Sie den Leser ein und prüfen Sie, ob sein Treiber installiert ist. Über eine "
    "Fernverbindung werden womöglich die Leser des anderen Rechners gezeigt."};
inline constexpr Phrase readersSeveral{"several KV500 readers: {0}",
                                       "mehrere KV500-Kartenleser: {0}"};
inline constexpr Phrase oneReaderAdvice{
    "Unplug all but one; with several none is used.",
    "Ziehen Sie alle bis auf einen ab; bei mehreren wird keiner benutzt."};
inline constexpr Phrase readersNoUsb{"{0} is there by its name, but no USB device of that kind is",
                                     "{0} ist dem Namen nach da, aber kein USB-Gerät dieser Art"};
inline constexpr Phrase readersNoUsbAdvice{
    "The reader has to be plugged in here: one of another computer, or a simulated one, is not "
    "used.",
    "Der Leser muss hier eingesteckt sein: einer an einem anderen Rechner oder ein simulierter "
    "wird nicht benutzt."};
inline constexpr Phrase readersUnknown{
    "can't be told while the smart-card service does not run",
    "nicht feststellbar, solange der Smartcard-Dienst nicht läuft"};
inline constexpr Phrase readersUnknownAdvice{
    "This command starts nothing. Start the service KV500Service, and run it again.",
    "Dieser Befehl startet nichts. Starten Sie den Dienst KV500Service und führen Sie ihn noch "
    "einmal aus."};
inline constexpr Phrase seeSmartcard{"See the line \"smartcard-service\".",
                                     "Siehe die Zeile \"smartcard-service\"."};

// usb
inline constexpr Phrase usbOne{"one known device: {0}", "ein bekanntes Gerät: {0}"};
inline constexpr Phrase usbNone{"no known device ({0} or {1})",
                                "kein bekanntes Gerät ({0} oder {1})"};
inline constexpr Phrase usbNoneAdvice{
    "Plug the reader in; try another cable or port.",
    "Stecken Sie den Leser ein; versuchen Sie ein anderes Kabel oder einen anderen Anschluss."};
inline constexpr Phrase usbSeveral{"{0} known devices", "{0} bekannte Geräte"};
inline constexpr Phrase usbNoDriver{
    "{0} is plugged in, but does not work: problem {1} in the device manager",
    "{0} ist eingesteckt, arbeitet aber nicht: Problem {1} im Geräte-Manager"};
inline constexpr Phrase usbNoDriverAdvice{"Install the reader's driver.",
                                          "Installieren Sie den Treiber des Lesers."};

// card
inline constexpr Phrase cardIn{"a card is in, ATR {0}", "eine Karte steckt im Leser, ATR {0}"};
inline constexpr Phrase cardNone{"no card in the reader", "keine Karte im Leser"};
inline constexpr Phrase cardNoneAdvice{"Put a card in.", "Stecken Sie eine Karte ein."};
inline constexpr Phrase cardMute{"the card does not answer", "die Karte antwortet nicht"};
inline constexpr Phrase cardMuteAdvice{
    "Put it in with the chip first and facing up; clean it; try another card.",
    "Stecken Sie sie mit dem Chip voran und nach oben ein; reinigen Sie sie; versuchen Sie eine "
    "andere Karte."};
inline constexpr Phrase cardExclusive{"another program holds the card for itself alone",
                                      "ein anderes Programm hält die Karte für sich allein"};
inline constexpr Phrase cardTransaction{
    "another program has been in a transaction with the card for over two seconds",
    "ein anderes Programm ist seit über zwei Sekunden in einer Transaktion mit der Karte"};
inline constexpr Phrase cardHeldAdvice{"End the other program that works with cards.",
                                       "Beenden Sie das andere Programm, das mit Karten arbeitet."};
inline constexpr Phrase cardFails{"the card can't be looked at (0x{0})",
                                  "die Karte ist nicht ansprechbar (0x{0})"};
inline constexpr Phrase cardFailsAdvice{"Take it out and put it in again.",
                                        "Nehmen Sie sie heraus und stecken Sie sie wieder ein."};
inline constexpr Phrase cardNoReader{"not looked at: there is not exactly one KV500 reader",
                                     "nicht geprüft: es ist nicht genau ein KV500-Kartenleser da"};
inline constexpr Phrase seeReaders{"See the line \"readers\".", "Siehe die Zeile \"readers\"."};

// session
inline constexpr Phrase sessionGood{
    "session {0} of {1} is active, and a browser can be started there",
    "Sitzung {0} von {1} ist aktiv, dort kann ein Browser gestartet werden"};
inline constexpr Phrase sessionMaybe{
    "session {0} of {1} is active; whether a browser can be started there, only the service can "
    "tell",
    "Sitzung {0} von {1} ist aktiv; ob dort ein Browser gestartet werden kann, weiß nur der "
    "Dienst"};
inline constexpr Phrase sessionNone{"no session is active at this computer's screen",
                                    "keine Sitzung ist am Bildschirm dieses Rechners aktiv"};
inline constexpr Phrase sessionRemote{
    "nobody works at this computer's own screen, only over a remote connection",
    "niemand arbeitet am eigenen Bildschirm dieses Rechners, nur über eine Fernverbindung"};
inline constexpr Phrase sessionSeveral{
    "{0} sessions are active; browser and messages go to session {1}",
    "{0} Sitzungen sind aktiv; Browser und Meldungen gehen an Sitzung {1}"};
inline constexpr Phrase sessionNobody{"nobody is logged on in session {0}",
                                      "in Sitzung {0} ist niemand angemeldet"};
inline constexpr Phrase sessionNoWay{"in session {0} of {1} no program can be started",
                                     "in Sitzung {0} von {1} kann kein Programm gestartet werden"};
inline constexpr Phrase sessionSeveralAdvice{
    "Log off the other sessions, so that browser and messages appear where somebody works.",
    "Melden Sie die anderen Sitzungen ab, damit Browser und Meldungen dort erscheinen, wo jemand "
    "arbeitet."};
inline constexpr Phrase sessionNoWayAdvice{
    "Log off there, and log on again with a desktop. Web pages are answered all the same.",
    "Melden Sie sich dort ab und mit einem Desktop wieder an. Webseiten werden trotzdem bedient."};
inline constexpr Phrase sessionAdvice{
    "Log on at the computer that the reader is plugged into. Web pages are answered all the same.",
    "Melden Sie sich an dem Rechner an, an dem der Leser steckt. Webseiten werden trotzdem "
    "bedient."};

// browser-policy
inline constexpr Phrase policyNone{
    "no policy applies in {0}: each user is asked once whether a page may reach this computer's "
    "programs",
    "in {0} greift keine Richtlinie: jeder Benutzer wird einmal gefragt, ob eine Seite die "
    "Programme dieses Rechners erreichen darf"};
inline constexpr Phrase policyAllows{"a policy allows it: {0}: {1}",
                                     "eine Richtlinie erlaubt es: {0}: {1}"};
inline constexpr Phrase policyForbids{
    "a policy forbids {0} to let pages reach this computer: {1}",
    "eine Richtlinie verbietet {0}, Seiten diesen Rechner erreichen zu lassen: {1}"};
inline constexpr Phrase policyForbidsAdvice{
    "Have the administrator take the page out of that list, or put it into "
    "LoopbackNetworkAllowedForUrls.",
    "Lassen Sie den Administrator die Seite aus dieser Liste nehmen oder in "
    "LoopbackNetworkAllowedForUrls eintragen."};
inline constexpr Phrase policyPartly{"a policy forbids it to some pages, {0}: {1}",
                                     "eine Richtlinie verbietet es manchen Seiten, {0}: {1}"};
inline constexpr Phrase policyPartlyAdvice{
    "See that the web application's page is not among them.",
    "Prüfen Sie, dass die Seite der Webanwendung nicht dazugehört."};

// The report and the command line.
inline constexpr Phrase reportTitle{"Report of {0}", "Bericht von {0}"};
inline constexpr Phrase reportTime{"Time: {0}", "Zeit: {0}"};
inline constexpr Phrase reportSystem{"System: {0}", "System: {0}"};
inline constexpr Phrase reportFolder{"Folder: {0}", "Ordner: {0}"};
inline constexpr Phrase reportFindings{"Findings", "Befunde"};
inline constexpr Phrase reportLog{"log.txt, its last 50 lines", "log.txt, die letzten 50 Zeilen"};
inline constexpr Phrase reportNothing{
    "(not there, or not readable with this user's rights)",
    "(nicht da oder mit den Rechten dieses Benutzers nicht lesbar)"};
inline constexpr Phrase reportUnwritable{"can't write the file {0}",
                                         "die Datei {0} lässt sich nicht schreiben"};
inline constexpr Phrase outputUnwritable{"can't write to the standard output",
                                         "die Standardausgabe lässt sich nicht schreiben"};
inline constexpr Phrase noFolder{"{0} is no folder", "{0} ist kein Ordner"};
inline constexpr Phrase needsValue{"{0} needs a value", "{0} braucht einen Wert"};
inline constexpr Phrase badLanguage{"--language takes de or en, not {0}",
                                    "--language ist de oder en, nicht {0}"};
inline constexpr Phrase badWait{"--wait takes a number of seconds from 0 to 3600, not {0}",
                                "--wait ist eine Zahl von Sekunden von 0 bis 3600, nicht {0}"};
inline constexpr Phrase unknownOption{"unknown option {0} (see --help)",
                                      "unbekannte Option {0} (siehe --help)"};
inline constexpr Phrase help{
    R"(Usage: kv500-check [--folder DIR] [--language de|en] [--json] [--report FILE] [--wait SECONDS]

Says what is wrong with the KV500 service on this machine, and what to do. It changes nothing,
starts nothing and sends nothing to a card. With an administrator's rights it sees more.

  --folder DIR      where config.txt and log.txt lie (default: where the installed service lies,
                    else where this program lies)
  --language de|en  language of the texts (default: the user's)
  --json            the findings as a JSON array of objects id, level, text, advice
  --report FILE     write a text file for a support ticket, too: findings, versions, config.txt,
                    the last 50 lines of log.txt
  --wait SECONDS    repeat until nothing fails or the time is over
  --help, --version

Exit status: 0 all is well; 1 warnings only; 2 something fails; 3 bad options, or a file that
can't be written.
)",
    R"(Aufruf: kv500-check [--folder ORDNER] [--language de|en] [--json] [--report DATEI]
                    [--wait SEKUNDEN]

Sagt, was am Dienst KV500 auf diesem Rechner nicht stimmt und was zu tun ist. Es ändert nichts,
startet nichts und sendet nichts an eine Karte. Mit den Rechten eines Administrators sieht es mehr.

  --folder ORDNER   wo config.txt und log.txt liegen (sonst: wo der installierte Dienst liegt,
                    ersatzweise wo dieses Programm liegt)
  --language de|en  Sprache der Texte (sonst: die des Benutzers)
  --json            die Befunde als JSON: ein Array von Objekten mit id, level, text, advice
  --report DATEI    zusätzlich eine Textdatei für den Support schreiben: Befunde, Versionen,
                    config.txt, die letzten 50 Zeilen von log.txt
  --wait SEKUNDEN   wiederholen, bis nichts mehr fehlschlägt oder die Zeit um ist
  --help, --version

Rückgabewert: 0 alles in Ordnung; 1 nur Warnungen; 2 etwas schlägt fehl; 3 falsche Optionen oder
eine Datei, die nicht geschrieben werden kann.
)"};

}  // namespace check::texts

#endif
