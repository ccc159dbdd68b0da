<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en" sourcelanguage="en">
<context>
    <name>ExportPanel</name>
    <message numerus="yes">
        <source>log(s)</source>
        <comment>after their number</comment>
        <translation>
            <numerusform>log</numerusform>
            <numerusform>logs</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>%1 of %n log(s)</source>
        <translation>
            <numerusform>%1 of %n log</numerusform>
            <numerusform>%1 of %n logs</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>%1 of %n log(s) copied.</source>
        <translation>
            <numerusform>%1 of %n log copied.</numerusform>
            <numerusform>%1 of %n logs copied.</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>%n kept beside older copies of the same name.</source>
        <translation>
            <numerusform>%n kept beside an older copy of the same name.</numerusform>
            <numerusform>%n kept beside older copies of the same name.</numerusform>
        </translation>
    </message>
</context>
</TS>
