<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="ru" sourcelanguage="en">
<context>
    <name>Ending</name>
    <message>
        <source>Signal %1 received. Stopping application.</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>SettingsFile</name>
    <message>
        <source>it does not exist</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>it is not a regular file</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>it is larger than a settings file can be</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>it is binary</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Settings file %1 is not read, defaults apply: %2</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Settings file %1 has lines that are neither [group] nor key=value</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Settings file %1: %2 is not a number: &quot;%3&quot;. The default %4 applies</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>TConnector</name>
    <message>
        <source>Start server: %1 Ok!!!! 
</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Start Error: %1
</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Admin connection is closed. Stopping application.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Connection In Error: %0
</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Connection in disconnection: %0
</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>New In Connection %0
</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>New Out Connnection
</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Connnection Out Error: %1 %2
</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Connnection Disconnect: %0
</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>TMyLocalSocket</name>
    <message>
        <source>Peer %1 does not read, %2 bytes are waiting: frames to it are dropped</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Peer %1 reads again, %2 frames were dropped</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>TServerPlugin</name>
    <message>
        <source>Error load settings AdminServerName: NoName </source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Error load settings ServerName: NoName </source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Warrning: No Connections </source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Cannot open database %1: %2</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>main</name>
    <message>
        <source>Start Ok!</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>openDataBaseBySettings</name>
    <message>
        <source>unknown BDType &quot;%1&quot;</source>
        <translation type="unfinished"></translation>
    </message>
</context>
</TS>
