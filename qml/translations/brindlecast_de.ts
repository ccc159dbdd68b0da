<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de" sourcelanguage="en">
<context>
    <name>ExportPanel</name>
    <message>
        <source>Copy to</source>
        <translation>Kopieren nach</translation>
    </message>
    <message>
        <source>No memory stick</source>
        <translation>Kein Speicherstick</translation>
    </message>
    <message>
        <source>%1 free</source>
        <translation>%1 frei</translation>
    </message>
    <message>
        <source>Plug in the stick that holds %1. It is found by itself.</source>
        <translation>Bitte den Stick mit %1 einstecken. Er wird von selbst gefunden.</translation>
    </message>
    <message>
        <source>Plug one in. It is found by itself within a few seconds.</source>
        <translation>Bitte einen einstecken. Er wird in wenigen Sekunden von selbst gefunden.</translation>
    </message>
    <message>
        <source>Selected</source>
        <translation>Ausgewählt</translation>
    </message>
    <message>
        <source>This is more than fits on the stick.</source>
        <translation>Das ist mehr, als auf den Stick passt.</translation>
    </message>
    <message>
        <source>Export</source>
        <translation>Exportieren</translation>
    </message>
    <message>
        <source>Cancelling…</source>
        <translation>Wird abgebrochen…</translation>
    </message>
    <message>
        <source>Preparing…</source>
        <translation>Vorbereiten…</translation>
    </message>
    <message>
        <source>Finishing…</source>
        <translation>Abschließen…</translation>
    </message>
    <message>
        <source>Copying…</source>
        <translation>Kopieren…</translation>
    </message>
    <message>
        <source>%1 of %2</source>
        <translation>%1 von %2</translation>
    </message>
    <message numerus="yes">
        <source>%1 of %n log(s)</source>
        <translation>
            <numerusform>%1 von %n Log</numerusform>
            <numerusform>%1 von %n Logs</numerusform>
        </translation>
    </message>
    <message>
        <source>Writing everything to the stick. This can take a minute.</source>
        <translation>Alles wird auf den Stick geschrieben. Das kann eine Minute dauern.</translation>
    </message>
    <message>
        <source>Do not remove the stick yet.</source>
        <translation>Stick noch nicht abziehen.</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
    <message numerus="yes">
        <source>%1 of %n log(s) copied.</source>
        <translation>
            <numerusform>%1 von %n Log kopiert.</numerusform>
            <numerusform>%1 von %n Logs kopiert.</numerusform>
        </translation>
    </message>
    <message>
        <source>Export done</source>
        <translation>Export fertig</translation>
    </message>
    <message>
        <source>Cancelled</source>
        <translation>Abgebrochen</translation>
    </message>
    <message>
        <source>Stick gone</source>
        <translation>Stick fehlt</translation>
    </message>
    <message>
        <source>Write-protected</source>
        <translation>Schreibgeschützt</translation>
    </message>
    <message>
        <source>Not enough space</source>
        <translation>Zu wenig Platz</translation>
    </message>
    <message>
        <source>Some logs are gone</source>
        <translation>Einige Logs fehlen</translation>
    </message>
    <message>
        <source>Stick failed</source>
        <translation>Stick fehlerhaft</translation>
    </message>
    <message>
        <source>Log too large</source>
        <translation>Log zu groß</translation>
    </message>
    <message>
        <source>Copying failed</source>
        <translation>Kopieren gescheitert</translation>
    </message>
    <message>
        <source>The stick was not there, or was removed too early. What is on it may be incomplete: plug it in and export again.</source>
        <translation>Der Stick war nicht da oder wurde zu früh abgezogen. Was darauf ist, kann unvollständig sein: bitte einstecken und noch einmal exportieren.</translation>
    </message>
    <message>
        <source>Nothing can be written to this stick. Unlock it or take another one.</source>
        <translation>Dieser Stick lässt sich nicht beschreiben. Bitte entsperren oder einen anderen nehmen.</translation>
    </message>
    <message>
        <source>The selection takes %1, the stick has %2 free.</source>
        <translation>Die Auswahl braucht %1, auf dem Stick sind %2 frei.</translation>
    </message>
    <message>
        <source>The stick is full.</source>
        <translation>Der Stick ist voll.</translation>
    </message>
    <message>
        <source>Select fewer logs, or make room on the stick.</source>
        <translation>Bitte weniger Logs auswählen oder auf dem Stick Platz schaffen.</translation>
    </message>
    <message>
        <source>The device had already deleted the others.</source>
        <translation>Die anderen hatte das Gerät schon gelöscht.</translation>
    </message>
    <message>
        <source>The logs could not be written out completely. Export them to another stick.</source>
        <translation>Die Logs konnten nicht vollständig geschrieben werden. Bitte auf einen anderen Stick exportieren.</translation>
    </message>
    <message>
        <source>This stick&apos;s file system holds no files as large as that. Take one formatted with exFAT.</source>
        <translation>Das Dateisystem dieses Sticks fasst so große Dateien nicht. Bitte einen mit exFAT formatierten nehmen.</translation>
    </message>
    <message>
        <source>Try again, or take another stick.</source>
        <translation>Bitte noch einmal versuchen oder einen anderen Stick nehmen.</translation>
    </message>
    <message>
        <source>Not copied:</source>
        <translation>Nicht kopiert:</translation>
    </message>
    <message numerus="yes">
        <source>%n kept beside older copies of the same name.</source>
        <translation>
            <numerusform>%n neben einer älteren Kopie gleichen Namens abgelegt.</numerusform>
            <numerusform>%n neben älteren Kopien gleichen Namens abgelegt.</numerusform>
        </translation>
    </message>
    <message>
        <source>You may remove the stick.</source>
        <translation>Der Stick kann abgezogen werden.</translation>
    </message>
    <message>
        <source>OK</source>
        <translation>OK</translation>
    </message>
    <message numerus="yes">
        <source>log(s)</source>
        <comment>after their number</comment>
        <translation>
            <numerusform>Log</numerusform>
            <numerusform>Logs</numerusform>
        </translation>
    </message>
    <message>
        <source>Select the logs to copy. Tap a name to look into it.</source>
        <translation>Logs zum Kopieren auswählen. Ein Tipp auf den Namen zeigt den Inhalt.</translation>
    </message>
    <message>
        <source>Not all copied</source>
        <translation>Nicht alle kopiert</translation>
    </message>
    <message>
        <source>The others are no files.</source>
        <translation>Die anderen sind keine Dateien.</translation>
    </message>
</context>
<context>
    <name>LogExportScreen</name>
    <message>
        <source>Log export</source>
        <translation>Logs exportieren</translation>
    </message>
    <message>
        <source>Back</source>
        <translation>Zurück</translation>
    </message>
</context>
<context>
    <name>LogFiles</name>
    <message>
        <source>d MMM yyyy, HH:mm</source>
        <extracomment>Date and time of a log, as Qt formats them: see QDateTime::toString().</extracomment>
        <translation>d. MMM yyyy, HH:mm</translation>
    </message>
</context>
<context>
    <name>LogLine</name>
    <message>
        <source>Debug</source>
        <translation>Debug</translation>
    </message>
    <message>
        <source>Info</source>
        <translation>Info</translation>
    </message>
    <message>
        <source>Warning</source>
        <translation>Warnung</translation>
    </message>
    <message>
        <source>Error</source>
        <translation>Fehler</translation>
    </message>
    <message>
        <source>Fatal error</source>
        <translation>Absturz</translation>
    </message>
</context>
<context>
    <name>LogList</name>
    <message>
        <source>All</source>
        <comment>logs</comment>
        <translation>Alle</translation>
    </message>
    <message>
        <source>Order</source>
        <translation>Reihenfolge</translation>
    </message>
    <message>
        <source>Newest</source>
        <translation>Neueste</translation>
    </message>
    <message>
        <source>Oldest</source>
        <translation>Älteste</translation>
    </message>
    <message>
        <source>Largest</source>
        <translation>Größte</translation>
    </message>
    <message>
        <source>Logs</source>
        <translation>Logs</translation>
    </message>
    <message>
        <source>No logs yet</source>
        <translation>Noch keine Logs</translation>
    </message>
    <message>
        <source>The log folder is missing</source>
        <translation>Der Log-Ordner fehlt</translation>
    </message>
    <message>
        <source>%1 does not exist. It appears here as soon as the device makes it.</source>
        <translation>%1 gibt es nicht. Der Ordner erscheint hier, sobald das Gerät ihn anlegt.</translation>
    </message>
    <message>
        <source>Logging is on: the first log appears here by itself.</source>
        <translation>Das Logging ist an: das erste Log erscheint hier von selbst.</translation>
    </message>
    <message>
        <source>Switch logging on. New logs appear here by themselves.</source>
        <translation>Bitte das Logging einschalten. Neue Logs erscheinen hier von selbst.</translation>
    </message>
    <message>
        <source>Select all logs</source>
        <translation>Alle Logs auswählen</translation>
    </message>
</context>
<context>
    <name>LogRow</name>
    <message>
        <source>Look into %1</source>
        <translation>%1 ansehen</translation>
    </message>
    <message>
        <source>Select %1</source>
        <translation>%1 auswählen</translation>
    </message>
</context>
<context>
    <name>LogView</name>
    <message>
        <source>Back</source>
        <translation>Zurück</translation>
    </message>
    <message>
        <source>Lines</source>
        <translation>Zeilen</translation>
    </message>
    <message>
        <source>All</source>
        <comment>lines</comment>
        <translation>Alle</translation>
    </message>
    <message>
        <source>Warnings</source>
        <translation>Warnungen</translation>
    </message>
    <message>
        <source>Errors</source>
        <translation>Fehler</translation>
    </message>
    <message>
        <source>Follow</source>
        <translation>Folgen</translation>
    </message>
    <message>
        <source>This log is gone.</source>
        <translation>Dieses Log gibt es nicht mehr.</translation>
    </message>
    <message>
        <source>This log can&apos;t be read.</source>
        <translation>Dieses Log ist nicht lesbar.</translation>
    </message>
    <message>
        <source>Reading…</source>
        <translation>Lesen…</translation>
    </message>
    <message>
        <source>No such lines.</source>
        <translation>Keine solchen Zeilen.</translation>
    </message>
    <message>
        <source>This log is empty.</source>
        <translation>Dieses Log ist leer.</translation>
    </message>
</context>
<context>
    <name>LoggingSwitch</name>
    <message>
        <source>Logging on</source>
        <translation>Logging an</translation>
    </message>
    <message>
        <source>Logging off</source>
        <translation>Logging aus</translation>
    </message>
</context>
</TS>
