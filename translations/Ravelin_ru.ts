<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="ru" sourcelanguage="en">
<context>
    <name>AnnounceSettings</name>
    <message>
        <source>MQTT/%1: the file %2 cannot be read: %3</source>
        <translation>MQTT/%1: файл %2 не читается: %3</translation>
    </message>
    <message>
        <source>MQTT/Broker is &quot;%1&quot;, neither HOST nor HOST:PORT</source>
        <translation>MQTT/Broker: &quot;%1&quot; — не УЗЕЛ и не УЗЕЛ:ПОРТ</translation>
    </message>
    <message>
        <source>MQTT/PasswordFile: a password needs MQTT/User</source>
        <translation>MQTT/PasswordFile: к паролю нужен MQTT/User</translation>
    </message>
    <message>
        <source>MQTT/CertFile and MQTT/KeyFile: one needs the other</source>
        <translation>MQTT/CertFile и MQTT/KeyFile: одно не бывает без другого</translation>
    </message>
    <message>
        <source>MQTT/CertFile: without MQTT/CaFile there is no TLS</source>
        <translation>MQTT/CertFile: без MQTT/CaFile нет TLS</translation>
    </message>
    <message>
        <source>MQTT/Prefix is &quot;%1&quot;, with which no topic can begin</source>
        <translation>MQTT/Prefix: с &quot;%1&quot; тема начинаться не может</translation>
    </message>
    <message>
        <source>MQTT/Discovery is &quot;%1&quot;, with which no topic can begin</source>
        <translation>MQTT/Discovery: с &quot;%1&quot; тема начинаться не может</translation>
    </message>
    <message>
        <source>The broker gets nothing until that is mended</source>
        <translation>Пока это не исправлено, брокер ничего не получает</translation>
    </message>
    <message>
        <source>it is a directory</source>
        <translation>это каталог</translation>
    </message>
</context>
<context>
    <name>BusListener</name>
    <message>
        <source>... and %1 more refusals</source>
        <translation>... и ещё отказов: %1</translation>
    </message>
    <message>
        <source>another program does</source>
        <translation>там слушает другая программа</translation>
    </message>
    <message>
        <source>Cannot listen on the bus as %1: %2</source>
        <translation>Не удаётся слушать шину под именем %1: %2</translation>
    </message>
    <message>
        <source>Listening on the bus as %1</source>
        <translation>Шина слушается под именем %1</translation>
    </message>
    <message>
        <source>A connection to %1 is refused: %2 others have not said who they are</source>
        <translation>Подключение к %1 отклонено: не назвавших себя уже %2</translation>
    </message>
    <message>
        <source>A connection to %1 is refused: the user with number %2 is not among BusUsers</source>
        <translation>Подключение к %1 отклонено: пользователя с номером %2 нет в BusUsers</translation>
    </message>
    <message>
        <source>it did not say who it is</source>
        <translation>программа не назвала себя</translation>
    </message>
    <message>
        <source>it did not say who it is first</source>
        <translation>программа начала не со своего имени</translation>
    </message>
    <message>
        <source>no settings file of Daemons has the ServerName %1</source>
        <translation>ни в одном файле настроек из Daemons нет ServerName %1</translation>
    </message>
    <message>
        <source>A connection to %1 is closed: %2</source>
        <translation>Подключение к %1 закрыто: %2</translation>
    </message>
</context>
<context>
    <name>Ending</name>
    <message>
        <source>Signal %1 received. Stopping application.</source>
        <translation>Получен сигнал %1. Остановка приложения.</translation>
    </message>
</context>
<context>
    <name>FieldConduct</name>
    <message>
        <source>Field/Remedies has no remedy &quot;%1&quot;. There are: %2</source>
        <translation>в Field/Remedies нет средства «%1». Есть: %2</translation>
    </message>
    <message>
        <source>Field/Pacing is neither &quot;fixed&quot; nor &quot;answers&quot;: &quot;%1&quot;. The default &quot;fixed&quot; applies</source>
        <translation>Field/Pacing — не «fixed» и не «answers»: «%1». Действует значение по умолчанию «fixed»</translation>
    </message>
    <message>
        <source>Field/Window is not from 1 to %1: %2. The default %3 applies</source>
        <translation>Field/Window не от 1 до %1: %2. Действует значение по умолчанию %3</translation>
    </message>
</context>
<context>
    <name>Hub</name>
    <message>
        <source>The daemon %1 is connected</source>
        <translation>Демон %1 подключён</translation>
    </message>
    <message>
        <source>The daemon %1 is not connected any more</source>
        <translation>Демон %1 больше не подключён</translation>
    </message>
    <message>
        <source>all daemons are connected</source>
        <translation>подключены все демоны</translation>
    </message>
    <message>
        <source>daemons that are not connected: %1</source>
        <translation>не подключены демоны: %1</translation>
    </message>
    <message>
        <source>The broker is connected for %1</source>
        <translation>Брокер для %1 подключён</translation>
    </message>
    <message>
        <source>The broker is not connected for %1: %2</source>
        <translation>Брокер для %1 не подключён: %2</translation>
    </message>
    <message>
        <source>A message for the broker is left out, %1: %2</source>
        <translation>Сообщение для брокера пропущено, %1: %2</translation>
    </message>
    <message>
        <source>Readings of %1 for the broker are lost: too many wait</source>
        <translation>Показания %1 для брокера потеряны: слишком много ждут отправки</translation>
    </message>
    <message>
        <source>Nobody can command over TCP: %1</source>
        <translation>Команды по TCP невозможны: %1</translation>
    </message>
    <message>
        <source>The interface is not at %1: %2</source>
        <translation>Интерфейса на %1 нет: %2</translation>
    </message>
    <message>
        <source>The daemon is not connected.</source>
        <translation>Демон не подключён.</translation>
    </message>
    <message>
        <source>The daemon is connected to its administrator, but not to its peer: no sweep comes.</source>
        <translation>Демон подключён к административному серверу, но не к получателю: опросы не приходят.</translation>
    </message>
    <message>
        <source>The rows of the last days are still being read.</source>
        <translation>Строки последних дней ещё читаются.</translation>
    </message>
    <message>
        <source>The modem hears nobody since %1.</source>
        <translation>Модем никого не слышит с %1.</translation>
    </message>
    <message>
        <source>The last sweep that was due was not made.</source>
        <translation>Последний опрос по расписанию не проведён.</translation>
    </message>
    <message>
        <source>Sweep files cannot be written; %1 wait.</source>
        <translation>Файлы опросов не записываются; ждут: %1.</translation>
    </message>
    <message>
        <source>The database of %1 can be read</source>
        <translation>База данных %1 читается</translation>
    </message>
    <message>
        <source>The database of %1 cannot be read: %2</source>
        <translation>База данных %1 не читается: %2</translation>
    </message>
    <message>
        <source>The interface is at %1</source>
        <translation>Интерфейс доступен на %1</translation>
    </message>
</context>
<context>
    <name>HubSettings</name>
    <message>
        <source>%1 is empty. The default %2 applies</source>
        <translation>%1: пустое значение. Действует значение по умолчанию %2</translation>
    </message>
    <message>
        <source>%1 is %2, not 1 to %3. The default %4 applies</source>
        <translation>%1: значение %2, а должно быть от 1 до %3. Действует значение по умолчанию %4</translation>
    </message>
    <message>
        <source>%1 is &quot;%2&quot;, neither %3 nor %4. %4 applies</source>
        <translation>%1: значение «%2» — не %3 и не %4. Действует %4</translation>
    </message>
    <message>
        <source>%1 is &quot;%2&quot;, no time as in %3, which applies</source>
        <translation>%1: значение «%2» — не время вида %3; действует оно</translation>
    </message>
    <message>
        <source>%1 has no ServerName: that daemon cannot be connected</source>
        <translation>В %1 нет ServerName: этот демон не подключить</translation>
    </message>
    <message>
        <source>%1 has the ServerName &quot;%2&quot;, which cannot be a directory&apos;s name: that daemon is left out</source>
        <translation>В %1 указано ServerName «%2», которое не может быть именем каталога: этот демон пропущен</translation>
    </message>
    <message>
        <source>%1 has the ServerName %2, as a file before it: it is left out</source>
        <translation>В %1 то же ServerName %2, что и в файле перед ним: файл пропущен</translation>
    </message>
    <message>
        <source>%1 has the AdminServerName &quot;%2&quot;, not %3: that daemon will not connect</source>
        <translation>В %1 указано AdminServerName «%2», а не %3: этот демон не подключится</translation>
    </message>
    <message>
        <source>%1 is no setting</source>
        <translation>Настройки %1 нет</translation>
    </message>
    <message>
        <source>Hub/PeerName is the same as Hub/AdminName</source>
        <translation>Hub/PeerName совпадает с Hub/AdminName</translation>
    </message>
    <message>
        <source>Hub/BusUsers: there is no user %1</source>
        <translation>Hub/BusUsers: пользователя %1 нет</translation>
    </message>
    <message>
        <source>%1 has the ServerName %2, which is the hub&apos;s own: that daemon is left out</source>
        <translation>В %1 указано ServerName %2 — имя самого сервера ravelin-hub: этот демон пропущен</translation>
    </message>
</context>
<context>
    <name>MainBase</name>
    <message>
        <source>Rows are not stored: %1</source>
        <translation>Строки не сохраняются: %1</translation>
    </message>
    <message>
        <source>Rows are stored again</source>
        <translation>Строки снова сохраняются</translation>
    </message>
    <message>
        <source>The database cannot be read: %1</source>
        <translation>База данных не читается: %1</translation>
    </message>
    <message>
        <source>The database can be read again</source>
        <translation>База данных снова читается</translation>
    </message>
</context>
<context>
    <name>MqttClient</name>
    <message>
        <source>no memory</source>
        <translation>нет памяти</translation>
    </message>
    <message>
        <source>the files for TLS cannot be read</source>
        <translation>файлы для TLS не читаются</translation>
    </message>
    <message>
        <source>the host&apos;s address is not found: %1</source>
        <translation>адрес узла не найден: %1</translation>
    </message>
</context>
<context>
    <name>PeerDialler</name>
    <message>
        <source>Cannot connect to %1: it belongs to the user with number %2, who is not among BusUsers</source>
        <translation>Не удаётся подключиться к %1: он принадлежит пользователю с номером %2, которого нет в BusUsers</translation>
    </message>
</context>
<context>
    <name>PortLock</name>
    <message>
        <source>locked, lock file %1</source>
        <translation>занят, файл блокировки %1</translation>
    </message>
    <message>
        <source>locked by process %1, lock file %2</source>
        <translation>занят процессом %1, файл блокировки %2</translation>
    </message>
    <message>
        <source>locked by process %1, which has ended, lock file %2</source>
        <translation>занят процессом %1, который уже завершился, файл блокировки %2</translation>
    </message>
</context>
<context>
    <name>QCommandLineParser</name>
    <message>
        <source>Usage: %1</source>
        <translation>Использование: %1</translation>
    </message>
    <message>
        <source>[options]</source>
        <translation>[параметры]</translation>
    </message>
    <message>
        <source>Options:</source>
        <translation>Параметры:</translation>
    </message>
    <message>
        <source>Arguments:</source>
        <translation>Аргументы:</translation>
    </message>
    <message>
        <source>Missing value after &apos;%1&apos;.</source>
        <translation>После «%1» нет значения.</translation>
    </message>
    <message>
        <source>Unexpected value after &apos;%1&apos;.</source>
        <translation>Лишнее значение после «%1».</translation>
    </message>
</context>
<context>
    <name>Ravelin</name>
    <message>
        <source>QuitSignal received. Stopping application.</source>
        <translation>Получен сигнал QuitSignal. Остановка приложения.</translation>
    </message>
    <message>
        <source>COM-port data</source>
        <translation>Данные COM-порта</translation>
    </message>
    <message>
        <source>counter port</source>
        <translation>порт счётчика</translation>
    </message>
    <message>
        <source>New node: %1</source>
        <translation>Новый узел: %1</translation>
    </message>
    <message>
        <source>Received BCAST from %1</source>
        <translation>Получен BCAST от %1</translation>
    </message>
    <message>
        <source>Received UCAST from %1</source>
        <translation>Получен UCAST от %1</translation>
    </message>
    <message>
        <source>Printing devices on network...</source>
        <translation>Вывод устройств в сети...</translation>
    </message>
</context>
<context>
    <name>SerialLine</name>
    <message>
        <source>Cannot open the modem port %1: %2</source>
        <translation>Не удалось открыть порт модема %1: %2</translation>
    </message>
    <message>
        <source>The modem port %1 works again</source>
        <translation>Порт модема %1 снова работает</translation>
    </message>
    <message>
        <source>The modem port %1 takes no more data, %2 bytes dropped</source>
        <translation>Порт модема %1 не принимает данные, отброшено байт: %2</translation>
    </message>
    <message>
        <source>The modem port %1 broke: %2</source>
        <translation>Порт модема %1 отказал: %2</translation>
    </message>
    <message>
        <source>the line was hung up</source>
        <translation>линия разорвана</translation>
    </message>
    <message>
        <source>The modem at port %1 does not answer</source>
        <translation>Модем на порту %1 не отвечает</translation>
    </message>
</context>
<context>
    <name>Service</name>
    <message>
        <source>The service manager cannot be told: %1</source>
        <translation>Менеджеру служб нельзя сообщить о работе: %1</translation>
    </message>
    <message>
        <source>The service manager can be told again</source>
        <translation>Менеджеру служб снова можно сообщать о работе</translation>
    </message>
    <message>
        <source>No work is done (%1; for %2 s): the service manager is to start the daemon anew</source>
        <translation>Работа не идёт (%1; уже %2 с): менеджер служб должен перезапустить демон</translation>
    </message>
    <message>
        <source>%1 %2 of %3</source>
        <translation>%1 %2 из %3</translation>
    </message>
    <message>
        <source>waiting</source>
        <translation>ожидание</translation>
    </message>
    <message>
        <source>polling has ended</source>
        <translation>опрос прекращён</translation>
    </message>
</context>
<context>
    <name>SettingsFile</name>
    <message>
        <source>it does not exist</source>
        <translation>он не существует</translation>
    </message>
    <message>
        <source>it is not a regular file</source>
        <translation>это не обычный файл</translation>
    </message>
    <message>
        <source>it is larger than a settings file can be</source>
        <translation>он больше, чем может быть файл настроек</translation>
    </message>
    <message>
        <source>it is binary</source>
        <translation>он двоичный</translation>
    </message>
    <message>
        <source>Settings file %1 is not read, defaults apply: %2</source>
        <translation>Файл настроек %1 не прочитан, действуют значения по умолчанию: %2</translation>
    </message>
    <message>
        <source>Settings file %1 has lines that are neither [group] nor key=value</source>
        <translation>В файле настроек %1 есть строки, не похожие ни на [группу], ни на ключ=значение</translation>
    </message>
    <message>
        <source>Settings file %1: %2 is not a number: &quot;%3&quot;. The default %4 applies</source>
        <translation>Файл настроек %1: %2 — не число: «%3». Действует значение по умолчанию %4</translation>
    </message>
    <message>
        <source>Settings file %1: %2</source>
        <translation>Файл настроек %1: %2</translation>
    </message>
</context>
<context>
    <name>SweepStore</name>
    <message>
        <source>... and %1 more refusals</source>
        <translation>... и ещё отказов: %1</translation>
    </message>
    <message>
        <source>A sweep of %1 is refused: its file name is &quot;%2&quot;</source>
        <translation>Опрос от %1 отклонён: имя его файла — «%2»</translation>
    </message>
    <message>
        <source>The sweep %1 of %2 has no rows: no file is made</source>
        <translation>В опросе %1 от %2 нет строк: файл не создаётся</translation>
    </message>
    <message>
        <source>The sweep %1 of %2 ends within a row: the rows before it are kept</source>
        <translation>Опрос %1 от %2 обрывается посреди строки: строки до неё сохранены</translation>
    </message>
    <message>
        <source>Sweep files are written to %1 again</source>
        <translation>Файлы опросов снова записываются в %1</translation>
    </message>
    <message>
        <source>Sweep files cannot be written to %1: %2</source>
        <translation>Файлы опросов не записываются в %1: %2</translation>
    </message>
    <message>
        <source>The sweep %1 of %2 is lost: too many wait to be written</source>
        <translation>Опрос %1 от %2 потерян: слишком много опросов ждут записи</translation>
    </message>
</context>
<context>
    <name>TCollector</name>
    <message>
        <source>Received &apos;ACK&apos;, but stack is empty</source>
        <translation>Получен «ACK», но стек пуст</translation>
    </message>
    <message>
        <source>Received &apos;NACK&apos;, but stack is empty</source>
        <translation>Получен «NACK», но стек пуст</translation>
    </message>
    <message>
        <source>Error. Received &apos;NACK&apos; from modem with number %1</source>
        <translation>Ошибка. Получен «NACK» от модема с номером %1</translation>
    </message>
    <message>
        <source>Error number %1</source>
        <translation>Ошибка номер %1</translation>
    </message>
    <message>
        <source>ntpq does not list the NTP server %1. Polling stands still</source>
        <translation>В выводе ntpq нет сервера NTP %1. Опрос приостановлен</translation>
    </message>
    <message>
        <source>Time sync: </source>
        <translation>Синхронизация времени: </translation>
    </message>
    <message>
        <source>ntpq -pn did not finish: %1. Polling stays stopped</source>
        <translation>ntpq -pn не завершился: %1. Опрос остановлен</translation>
    </message>
    <message>
        <source>The time pattern &quot;%1&quot; is never met: %2</source>
        <translation>Шаблон времени «%1» никогда не сработает: %2</translation>
    </message>
    <message>
        <source>Timer event: %1</source>
        <translation>Событие таймера: %1</translation>
    </message>
    <message>
        <source>Repeat query...</source>
        <translation>Повторный опрос...</translation>
    </message>
    <message>
        <source>%1 not send data...</source>
        <translation>%1 не прислал данные...</translation>
    </message>
    <message>
        <source>Begin questioning...</source>
        <translation>Начат опрос...</translation>
    </message>
    <message>
        <source>Not received data from KTP</source>
        <translation>Нет данных от КТП</translation>
    </message>
    <message>
        <source>KTP Data: %1</source>
        <translation>Данные КТП: %1</translation>
    </message>
    <message>
        <source>Observed reading!</source>
        <translation>Показания собраны!</translation>
    </message>
    <message>
        <source>Can not read database</source>
        <translation>Не удалось прочитать базу данных</translation>
    </message>
    <message>
        <source>Open the case: %1</source>
        <translation>Вскрыт корпус: %1</translation>
    </message>
    <message>
        <source>%2 send data: %1 kW*h</source>
        <translation>%2 прислал данные: %1 кВт*ч</translation>
    </message>
    <message>
        <source>%2 send time: %1 kW*h</source>
        <translation>%2 прислал время: %1 кВт*ч</translation>
    </message>
    <message>
        <source>Read database failed</source>
        <translation>Ошибка чтения базы данных</translation>
    </message>
    <message>
        <source>clock setting</source>
        <translation>установка часов</translation>
    </message>
    <message>
        <source>time sweep</source>
        <translation>опрос часов</translation>
    </message>
    <message>
        <source>query sweep</source>
        <translation>опрос показаний</translation>
    </message>
    <message>
        <source>Due while the tick before lasted, and not made: %1</source>
        <translation>Наступило, пока длился предыдущий такт, и не выполнено: %1</translation>
    </message>
    <message>
        <source>More than %1 nodes were heard: of further ones nothing is kept</source>
        <translation>Услышано более %1 узлов: о следующих ничего не хранится</translation>
    </message>
    <message>
        <source>Open the case: node %1 is not in the register, or that cannot be read</source>
        <translation>Вскрыт корпус: узла %1 нет в реестре, или реестр не читается</translation>
    </message>
    <message>
        <source>time sweep: %1</source>
        <translation>опрос часов: %1</translation>
    </message>
    <message>
        <source>time sweep: the time daemon is asked</source>
        <translation>опрос часов: опрашивается служба времени</translation>
    </message>
    <message>
        <source>clock query</source>
        <translation>запрос часов</translation>
    </message>
    <message>
        <source>query again</source>
        <translation>повторный запрос</translation>
    </message>
    <message>
        <source>substation meter, try</source>
        <translation>счётчик подстанции, попытка</translation>
    </message>
    <message>
        <source>read-out</source>
        <translation>считывание</translation>
    </message>
    <message>
        <source>%1. No reference clock in this time sweep</source>
        <translation>%1. В этом обходе часов нет эталонных часов</translation>
    </message>
    <message>
        <source>ntpq is not installed</source>
        <translation>ntpq не установлен</translation>
    </message>
    <message>
        <source>ntpq -pn did not finish: %1</source>
        <translation>ntpq -pn не завершился: %1</translation>
    </message>
    <message>
        <source>ntpq does not list the NTP server %1</source>
        <translation>ntpq не перечисляет сервер NTP %1</translation>
    </message>
</context>
<context>
    <name>TConnector</name>
    <message>
        <source>Start server: %1 Ok!!!! 
</source>
        <translation>Сервер запущен: %1 Ok!!!! 
</translation>
    </message>
    <message>
        <source>Start Error: %1
</source>
        <translation>Ошибка запуска: %1
</translation>
    </message>
    <message>
        <source>Admin connection is closed. Stopping application.</source>
        <translation>Соединение с сервером администрирования закрыто. Остановка приложения.</translation>
    </message>
    <message>
        <source>Connection In Error: %0
</source>
        <translation>Ошибка входящего соединения: %0
</translation>
    </message>
    <message>
        <source>Connection in disconnection: %0
</source>
        <translation>Входящее соединение разорвано: %0
</translation>
    </message>
    <message>
        <source>New In Connection %0
</source>
        <translation>Новое входящее соединение %0
</translation>
    </message>
    <message>
        <source>New Out Connnection
</source>
        <translation>Новое исходящее соединение
</translation>
    </message>
    <message>
        <source>Connnection Out Error: %1 %2
</source>
        <translation>Ошибка исходящего соединения: %1 %2
</translation>
    </message>
    <message>
        <source>Connnection Disconnect: %0
</source>
        <translation>Соединение разорвано: %0
</translation>
    </message>
    <message>
        <source>there is no such socket</source>
        <translation>такого сокета нет</translation>
    </message>
    <message>
        <source>nobody listens</source>
        <translation>никто не слушает</translation>
    </message>
    <message>
        <source>no permission to connect</source>
        <translation>нет прав на подключение</translation>
    </message>
    <message>
        <source>The administrative server %1 is connected</source>
        <translation>Административный сервер %1 подключён</translation>
    </message>
    <message>
        <source>The administrative server %1 cannot be reached: %2</source>
        <translation>Административный сервер %1 недоступен: %2</translation>
    </message>
    <message>
        <source>The administrative server has to wait until these peers are connected: %1</source>
        <translation>Административный сервер ждёт, пока не подключатся серверы: %1</translation>
    </message>
    <message>
        <source>Peer %1 is disconnected: all unfinished frames together have %2 bytes, its own %3</source>
        <translation>Сервер %1 отключён: незавершённые кадры занимают %2 байт, из них его — %3</translation>
    </message>
    <message>
        <source>A connection is refused: %1 are open</source>
        <translation>Подключение отклонено: открыто %1</translation>
    </message>
    <message>
        <source>A connection of the user with number %1 is refused: it is not among BusUsers</source>
        <translation>Подключение пользователя с номером %1 отклонено: его нет в BusUsers</translation>
    </message>
    <message>
        <source>... and %1 more lines about connections that came and went</source>
        <translation>... и ещё строк о появившихся и ушедших подключениях: %1</translation>
    </message>
    <message>
        <source>... and %1 more refusals</source>
        <translation>... и ещё отказов: %1</translation>
    </message>
    <message>
        <source>it does not take its connections, its queue of them is full</source>
        <translation>он не принимает подключения, очередь переполнена</translation>
    </message>
    <message>
        <source>it belongs to the user with number %1, who is not among BusUsers</source>
        <translation>он принадлежит пользователю с номером %1, которого нет в BusUsers</translation>
    </message>
    <message>
        <source>Cannot connect to %1: %2</source>
        <translation>Не удалось подключиться к %1: %2</translation>
    </message>
    <message>
        <source>The administrative server %1 is lost, and will be connected again</source>
        <translation>Связь с сервером администрирования %1 потеряна, она будет восстановлена</translation>
    </message>
</context>
<context>
    <name>TMyLocalSocket</name>
    <message>
        <source>Peer %1 does not read, %2 bytes are waiting: frames to it are dropped</source>
        <translation>Сервер %1 не читает данные, ожидают %2 байт: кадры для него отбрасываются</translation>
    </message>
    <message>
        <source>Peer %1 reads again, %2 frames were dropped</source>
        <translation>Сервер %1 снова читает данные, отброшено кадров: %2</translation>
    </message>
</context>
<context>
    <name>TServerPlugin</name>
    <message>
        <source>Error load settings AdminServerName: NoName </source>
        <translation>Ошибка загрузки настроек AdminServerName: NoName </translation>
    </message>
    <message>
        <source>Error load settings ServerName: NoName </source>
        <translation>Ошибка загрузки настроек ServerName: NoName </translation>
    </message>
    <message>
        <source>Warrning: No Connections </source>
        <translation>Предупреждение: нет соединений </translation>
    </message>
    <message>
        <source>Cannot open database %1: %2</source>
        <translation>Не удалось открыть базу данных %1: %2</translation>
    </message>
    <message>
        <source>Field/BusUsers: there is no user %1</source>
        <translation>Field/BusUsers: нет пользователя %1</translation>
    </message>
</context>
<context>
    <name>ZUCASTBuffer</name>
    <message>
        <source>%1 bytes of node %2 could not be used and were dropped</source>
        <translation>Байт от узла %2 не удалось использовать и отброшено: %1</translation>
    </message>
</context>
<context>
    <name>ZigBee</name>
    <message>
        <source>The modem port is open again: the modem is started anew</source>
        <translation>Порт модема снова открыт: модем запускается заново</translation>
    </message>
    <message>
        <source>The modem said nothing to %1 messages: it is started anew</source>
        <translation>Модем ничего не ответил на %1 сообщений: он запускается заново</translation>
    </message>
    <message>
        <source>The modem refused %1 messages: it is started anew</source>
        <translation>Модем отклонил сообщений: %1. Он запускается заново</translation>
    </message>
</context>
<context>
    <name>forward</name>
    <message>
        <source>none</source>
        <translation>нет</translation>
    </message>
    <message>
        <source>unknown</source>
        <translation>неизвестно</translation>
    </message>
    <message>
        <source>no memory</source>
        <translation>нет памяти</translation>
    </message>
    <message>
        <source>the centre does not answer</source>
        <translation>центр не отвечает</translation>
    </message>
    <message>
        <source>date_r is no date yyyy-MM-dd</source>
        <translation>date_r — не дата вида yyyy-MM-dd</translation>
    </message>
    <message>
        <source>time_r is no time hh:mm:ss</source>
        <translation>time_r — не время вида hh:mm:ss</translation>
    </message>
    <message>
        <source>%1 is damaged and begun anew</source>
        <translation>Файл %1 повреждён и начат заново</translation>
    </message>
    <message>
        <source>The notes are kept again</source>
        <translation>Заметки снова ведутся</translation>
    </message>
    <message>
        <source>The notes in %1 cannot be kept; the delivery goes on: %2</source>
        <translation>Заметки в %1 не ведутся, доставка продолжается: %2</translation>
    </message>
    <message>
        <source>older than what the centre keeps, since %1</source>
        <translation>старше того, что хранит центр (с %1)</translation>
    </message>
    <message>
        <source>its date is in the future: the controller&apos;s clock was wrong</source>
        <translation>дата в будущем: часы контроллера были неверны</translation>
    </message>
    <message>
        <source>the centre&apos;s mark stands elsewhere: another forwarder delivers this source, or an earlier transaction has ended just now</source>
        <translation>отметка центра стоит в другом месте: этот источник доставляет другая программа, или только что завершилась прежняя транзакция</translation>
    </message>
    <message>
        <source>the centre rolled the rows back</source>
        <translation>центр откатил строки</translation>
    </message>
    <message>
        <source>the centre has no table for %1; there, run &quot;ravelinctl fleet months&quot;</source>
        <translation>в центре нет таблицы за %1; выполните там «ravelinctl fleet months»</translation>
    </message>
    <message>
        <source>the centre does not know this controller any more</source>
        <translation>центр больше не знает этого контроллера</translation>
    </message>
    <message>
        <source>%1 more rows became dead letters</source>
        <translation>Ещё строк отложено как непринятые: %1</translation>
    </message>
    <message>
        <source>All rows are at the centre again</source>
        <translation>Все строки снова в центре</translation>
    </message>
    <message>
        <source>all rows are at the centre</source>
        <translation>все строки в центре</translation>
    </message>
    <message>
        <source>The daemon&apos;s rows cannot be read: %1</source>
        <translation>Строки службы не читаются: %1</translation>
    </message>
    <message>
        <source>Rows are not delivered: %1</source>
        <translation>Строки не доставляются: %1</translation>
    </message>
    <message>
        <source>The centre cannot be reached: %1</source>
        <translation>Центр недоступен: %1</translation>
    </message>
    <message>
        <source>The centre cannot be used: %1</source>
        <translation>С центром нельзя работать: %1</translation>
    </message>
    <message>
        <source>The centre&apos;s schema has another version: %1, not %2</source>
        <translation>У центра другая версия схемы: %1, а не %2</translation>
    </message>
    <message>
        <source>The centre does not know the controller %1; there, run &quot;ravelinctl fleet add %1&quot;</source>
        <translation>Центр не знает контроллера %1; выполните там «ravelinctl fleet add %1»</translation>
    </message>
    <message>
        <source>The connection to the centre is that of the controller %1, not of %2: the user in Centre and Controller must be the same</source>
        <translation>Соединение с центром принадлежит контроллеру %1, а не %2: пользователь в Centre и Controller должны совпадать</translation>
    </message>
    <message>
        <source>The centre&apos;s marks cannot be read: %1</source>
        <translation>Отметки центра не читаются: %1</translation>
    </message>
    <message>
        <source>Connected to the centre as %1. Delivered of %2 (%3): readings up to row %4, clock readings up to row %5</source>
        <translation>Есть связь с центром, контроллер %1. Из %2 (%3) доставлены показания до строки %4, показания часов до строки %5</translation>
    </message>
    <message>
        <source>The centre does not take a new source: %1</source>
        <translation>Центр не принимает новый источник: %1</translation>
    </message>
    <message>
        <source>%1 is not the file that was delivered before, or was put back from a copy. Its rows are delivered as those of another source</source>
        <translation>%1 — не тот файл, что доставлялся раньше, или восстановлен из копии. Его строки доставляются как строки другого источника</translation>
    </message>
    <message>
        <source>The centre cannot be told how far the delivery is: %1</source>
        <translation>Центру нельзя сообщить, докуда дошла доставка: %1</translation>
    </message>
    <message>
        <source>The centre&apos;s register cannot be used: %1</source>
        <translation>Реестром центра нельзя пользоваться: %1</translation>
    </message>
    <message>
        <source>The centre refuses row %1 of the %2, which becomes a dead letter: %3</source>
        <translation>Центр не принимает строку %1 (%2), она отложена: %3</translation>
    </message>
    <message>
        <source>%1 must be a number from 1 to %2, not %3</source>
        <translation>%1 должно быть числом от 1 до %2, а не %3</translation>
    </message>
    <message>
        <source>%1: BDType is &quot;%2&quot;; only rows in SQLite (sqlite3) can be delivered</source>
        <translation>%1: BDType — «%2»; доставляются только строки из SQLite (sqlite3)</translation>
    </message>
    <message>
        <source>Register must be local or centre, not &quot;%1&quot;</source>
        <translation>Register должно быть local или centre, а не «%1»</translation>
    </message>
    <message>
        <source>Controller is missing: the name of this controller at the centre</source>
        <translation>Нет Controller: имени этого контроллера в центре</translation>
    </message>
    <message>
        <source>Centre is missing: host=... dbname=... user=...</source>
        <translation>Нет Centre: host=... dbname=... user=...</translation>
    </message>
    <message>
        <source>Centre is no connection string: words key=value with blanks between them, a value with blanks in single quotes</source>
        <translation>Centre — не строка соединения: слова вида ключ=значение через пробелы, значение с пробелами в одинарных кавычках</translation>
    </message>
    <message>
        <source>the name %1 cannot be looked up</source>
        <translation>имя %1 нельзя найти</translation>
    </message>
    <message>
        <source>no name server tells the address of %1</source>
        <translation>ни один сервер имён не сообщает адрес %1</translation>
    </message>
    <message>
        <source>&quot;%1&quot; is not understood here; --help tells what is</source>
        <translation>«%1» здесь не понято; что понимается, говорит --help</translation>
    </message>
    <message>
        <source>the centre&apos;s register, global_id %1</source>
        <translation>реестр центра, global_id %1</translation>
    </message>
    <message>
        <source>The register was carried to the centre, meters: %1</source>
        <translation>Реестр передан в центр, счётчиков: %1</translation>
    </message>
    <message>
        <source>The centre refuses the register: %1</source>
        <translation>Центр не принимает реестр: %1</translation>
    </message>
    <message>
        <source>The centre&apos;s register is empty; the one here stays as it is</source>
        <translation>Реестр центра пуст; здешний остаётся как есть</translation>
    </message>
    <message>
        <source>The centre&apos;s register is refused, the one here stays as it is: %1</source>
        <translation>Реестр центра отвергнут, здешний остаётся как есть: %1</translation>
    </message>
    <message>
        <source>The centre&apos;s register waits for the end of a sweep</source>
        <translation>Реестр центра ждёт конца опроса</translation>
    </message>
    <message>
        <source>The register is not changed: %1</source>
        <translation>Реестр не изменён: %1</translation>
    </message>
    <message>
        <source>The register of the centre holds from now on; %1</source>
        <translation>Теперь действует реестр центра; %1</translation>
    </message>
    <message>
        <source>there is no such file yet</source>
        <translation>такого файла ещё нет</translation>
    </message>
    <message>
        <source>a sweep has begun</source>
        <translation>начался опрос</translation>
    </message>
    <message>
        <source>it cannot be read</source>
        <translation>не читается</translation>
    </message>
    <message>
        <source>another forwarder delivers this source, lock file %1</source>
        <translation>этот источник уже доставляет другая программа, файл блокировки %1</translation>
    </message>
    <message>
        <source>Controller: %1</source>
        <translation>Контроллер: %1</translation>
    </message>
    <message>
        <source>Source: %1</source>
        <translation>Источник: %1</translation>
    </message>
    <message>
        <source>The forwarder runs.</source>
        <translation>Доставка работает.</translation>
    </message>
    <message>
        <source>The forwarder does not run.</source>
        <translation>Доставка не работает.</translation>
    </message>
    <message>
        <source>Rows that wait, of the %1: %2, for %3 s; delivered up to row %4</source>
        <translation>Ждут строк (%1): %2, в течение %3 с; доставлено до строки %4</translation>
    </message>
    <message>
        <source>Dead letters: %1</source>
        <translation>Отложено непринятых: %1</translation>
    </message>
</context>
<context>
    <name>ledger</name>
    <message>
        <source>answer not decodable (1)</source>
        <translation>ответ не разобран (1)</translation>
    </message>
    <message>
        <source>substation meter silent (1)</source>
        <translation>счётчик подстанции молчит (1)</translation>
    </message>
    <message>
        <source>node heard, no reading (2)</source>
        <translation>узел слышен, показания нет (2)</translation>
    </message>
    <message>
        <source>not delivered (3)</source>
        <translation>не доставлено (3)</translation>
    </message>
    <message>
        <source>nothing heard (255)</source>
        <translation>ничего не слышно (255)</translation>
    </message>
    <message>
        <source>unknown status</source>
        <translation>неизвестный статус</translation>
    </message>
    <message>
        <source>a row of zeros</source>
        <translation>строка из нулей</translation>
    </message>
    <message>
        <source>answers of its model are not stored</source>
        <translation>ответы этой модели не сохраняются</translation>
    </message>
    <message>
        <source>no row in the sweep</source>
        <translation>нет строки в обходе</translation>
    </message>
    <message>
        <source>no sweep</source>
        <translation>обхода не было</translation>
    </message>
    <message>
        <source>no rows of due sweeps: the daemon or the database was away</source>
        <translation>нет строк положенных обходов: не было демона или базы данных</translation>
    </message>
    <message>
        <source>sweeps left out again and again: more is due than there is time for</source>
        <translation>обходы снова и снова пропускаются: по расписанию их больше, чем успевается</translation>
    </message>
    <message>
        <source>nobody answered, neither nodes nor substation meter</source>
        <translation>никто не отвечал: ни узлы, ни счётчик подстанции</translation>
    </message>
    <message>
        <source>no node meter answered: look at the modem</source>
        <translation>не ответил ни один счётчик за узлами: проверьте модем</translation>
    </message>
    <message>
        <source>the substation meter was silent</source>
        <translation>счётчик подстанции молчал</translation>
    </message>
    <message>
        <source>meters silent together: look at what their nodes have in common</source>
        <translation>счётчики молчали вместе: посмотрите, что общего у их узлов</translation>
    </message>
    <message>
        <source>one meter silent</source>
        <translation>молчал один счётчик</translation>
    </message>
    <message>
        <source>%1 (not in the register)</source>
        <translation>%1 (нет в реестре)</translation>
    </message>
    <message>
        <source>%1: at %2 from %3 back to %4 kWh, and it goes on from there: exchanged or reset</source>
        <translation>%1: %2 с %3 назад к %4 кВт·ч, и дальше идёт оттуда: заменён или сброшен</translation>
    </message>
    <message>
        <source>%1: at %2 from %3 back to %4 kWh; no later reading tells whether it stays so</source>
        <translation>%1: %2 с %3 назад к %4 кВт·ч; более поздних показаний, чтобы судить, нет</translation>
    </message>
    <message>
        <source>%1: at %2 from %3 to %4 kWh, %5 kW on average: more than the limit</source>
        <translation>%1: %2 с %3 до %4 кВт·ч, в среднем %5 кВт: больше предела</translation>
    </message>
    <message>
        <source>%1: at %2 one reading of %4 kWh after %3 kWh, which does not fit the next ones</source>
        <translation>%1: %2 одно показание %4 кВт·ч после %3 кВт·ч, следующие его не подтверждают</translation>
    </message>
    <message>
        <source>%1: %2 to %3: %4 kWh a day, where %5 is usual</source>
        <translation>%1: с %2 по %3: %4 кВт·ч в сутки, обычно %5</translation>
    </message>
    <message>
        <source>%1: stands at %4 kWh, from %2 to %3 at least</source>
        <translation>%1: стоит на %4 кВт·ч, по меньшей мере с %2 по %3</translation>
    </message>
    <message>
        <source>%1: stuck at %4 kWh from %2 to %3, while others move</source>
        <translation>%1: застыл на %4 кВт·ч с %2 по %3, другие при этом идут</translation>
    </message>
    <message>
        <source>%1: %2 to %3, readings: %6: the tariffs make %5 kWh, the total is %4</source>
        <translation>%1: с %2 по %3, показаний: %6: сумма тарифов %5 кВт·ч, общее %4</translation>
    </message>
    <message>
        <source>%1: its number in the register was &quot;%2&quot; and is &quot;%3&quot;</source>
        <translation>%1: номер в реестре был «%2», теперь «%3»</translation>
    </message>
    <message>
        <source>%1: no clock reading; rows that are no time: %2</source>
        <translation>%1: часы не прочитаны; строк, где не время: %2</translation>
    </message>
    <message>
        <source>drift %1 s a day</source>
        <translation>уход %1 с в сутки</translation>
    </message>
    <message>
        <source>drift unknown</source>
        <translation>уход неизвестен</translation>
    </message>
    <message>
        <source>%1: %2 s at %3, %4, readings: %5</source>
        <translation>%1: %2 с на %3, %4, показаний: %5</translation>
    </message>
    <message>
        <source>, rows that are no time: %1</source>
        <translation>, строк, где не время: %1</translation>
    </message>
    <message>
        <source>%1 or before</source>
        <translation>%1 или раньше</translation>
    </message>
    <message>
        <source>%1 to %2: %3; due sweeps: %4</source>
        <translation>с %1, до: %2: %3; положенных обходов: %4</translation>
    </message>
    <message>
        <source>, in stretches: %1</source>
        <translation>, отрезков: %1</translation>
    </message>
    <message>
        <source>; meters: %1</source>
        <translation>; счётчики: %1</translation>
    </message>
    <message>
        <source>, and %1 more</source>
        <translation> и ещё %1</translation>
    </message>
    <message>
        <source>since %1, not over yet: %2; due sweeps: %3</source>
        <translation>с %1, ещё не закончилось: %2; положенных обходов: %3</translation>
    </message>
</context>
<context>
    <name>main</name>
    <message>
        <source>Start Ok!</source>
        <translation>Запуск выполнен!</translation>
    </message>
    <message>
        <source>The setting ServerName is missing: there is no bus, and no administrative server is connected</source>
        <translation>Не задана настройка ServerName: шины нет, административный сервер не подключается</translation>
    </message>
    <message>
        <source>No daemon is left of the setting Daemons: there is nothing to do</source>
        <translation>По настройке Daemons не осталось ни одного демона: делать нечего</translation>
    </message>
</context>
<context>
    <name>openDataBaseBySettings</name>
    <message>
        <source>unknown BDType &quot;%1&quot;</source>
        <translation>неизвестный BDType «%1»</translation>
    </message>
</context>
<context>
    <name>ravelinctl</name>
    <message>
        <source>%1 is not set (NoName)</source>
        <translation>%1 не задан (NoName)</translation>
    </message>
    <message>
        <source>%1 is empty</source>
        <translation>%1 пуст</translation>
    </message>
    <message>
        <source>%1 names the daemon itself, &quot;%2&quot;: its own server would never start</source>
        <translation>%1 называет сам демон, «%2»: его собственный сервер никогда не запустится</translation>
    </message>
    <message>
        <source>%1 and %2 are the same, &quot;%3&quot;</source>
        <translation>%1 и %2 одинаковы: «%3»</translation>
    </message>
    <message>
        <source>%1: &quot;%2&quot; is one name; between two names stands a blank, no comma</source>
        <translation>%1: «%2» — одно имя; между именами ставится пробел, а не запятая</translation>
    </message>
    <message>
        <source>there is no directory %1</source>
        <translation>нет каталога %1</translation>
    </message>
    <message>
        <source>%1 is too long for a socket, %2 bytes are the most</source>
        <translation>%1 слишком длинно для сокета, можно не более %2 байт</translation>
    </message>
    <message>
        <source>the directory %1 cannot be written</source>
        <translation>в каталог %1 нельзя писать</translation>
    </message>
    <message>
        <source>%1, %2: %3</source>
        <translation>%1, %2: %3</translation>
    </message>
    <message>
        <source>everybody may write into %1, so whoever is first there can take a name of the bus (%2); give the bus a directory of its own</source>
        <translation>в %1 может писать кто угодно, и кто придёт первым, тот займёт имя шины (%2); дайте шине отдельный каталог</translation>
    </message>
    <message>
        <source>%1 is there, too; a daemon that is started without -settings reads its bus names and its log from /etc and the rest from there</source>
        <translation>есть и %1; демон, запущенный без -settings, берёт имена шины и журнал из /etc, а остальное оттуда</translation>
    </message>
    <message>
        <source>%1, who may open nearly everything</source>
        <translation>%1, которому открыто почти всё</translation>
    </message>
    <message>
        <source>none</source>
        <translation>нет</translation>
    </message>
    <message>
        <source>%1 (no -settings was given)</source>
        <translation>%1 (-settings не задан)</translation>
    </message>
    <message>
        <source>All is well. Looked as the user %1; settings: %2.</source>
        <translation>Всё в порядке. Проверено от имени пользователя %1; настройки: %2.</translation>
    </message>
    <message>
        <source>Problems: %1, hints: %2. Looked as the user %3; settings: %4.</source>
        <translation>Ошибок: %1, замечаний: %2. Проверено от имени пользователя %3; настройки: %4.</translation>
    </message>
    <message>
        <source>hint: %1</source>
        <translation>замечание: %1</translation>
    </message>
    <message>
        <source>default</source>
        <translation>по умолчанию</translation>
    </message>
    <message>
        <source>Looks for everything that would not work: settings, serial lines, database, register, schedule,
bus, log, ntpq. Changes nothing. Run it as the user, and with the PATH and TMPDIR, that the daemon
will have.

Problems, on stderr, keep the daemon from its work or show a password: exit code 1. Hints, on stdout
as &quot;hint: ...&quot;, leave it 0: no log, a bus directory that everybody may write, a name without
its directory, a key that is set twice, a serial line that the running daemon has.</source>
        <translation>Ищет всё, что не будет работать: настройки, последовательные линии, базу данных, реестр, расписание,
шину, журнал, ntpq. Ничего не меняет. Запускайте от имени того пользователя и с теми PATH и TMPDIR,
которые будут у демона.

Ошибки (в stderr) мешают демону работать или открывают пароль: код завершения 1. Замечания
(в stdout, «замечание: ...») оставляют код 0: нет журнала, каталог шины доступен всем на запись,
имя без каталога, ключ задан дважды, последовательную линию держит работающий демон.</translation>
    </message>
    <message>
        <source>Tells, too, every setting that the daemon would run with and where it comes from.</source>
        <translation>Выводит и все настройки, с которыми работал бы демон, и откуда каждая взята.</translation>
    </message>
    <message>
        <source>Tells all of it as one JSON object on stdout.</source>
        <translation>Выводит всё одним объектом JSON в stdout.</translation>
    </message>
    <message>
        <source>%1 See %2 --help</source>
        <translation>%1 См. %2 --help</translation>
    </message>
    <message>
        <source>Usage: %1 COMMAND ...
%2

Commands:
</source>
        <translation>Использование: %1 КОМАНДА ...
%2

Команды:
</translation>
    </message>
    <message>
        <source>
%1 COMMAND --help tells more.</source>
        <translation>
Подробнее: %1 КОМАНДА --help.</translation>
    </message>
    <message>
        <source>Is &quot;%1&quot; meant?</source>
        <translation>Может быть, «%1»?</translation>
    </message>
    <message>
        <source>There is no command &quot;%1&quot;.</source>
        <translation>Нет команды «%1».</translation>
    </message>
    <message>
        <source>A command is missing.</source>
        <translation>Не указана команда.</translation>
    </message>
    <message>
        <source>Tells this.</source>
        <translation>Выводит эту справку.</translation>
    </message>
    <message>
        <source>The daemon&apos;s settings file (default: the first there is of %1).</source>
        <translation>Файл настроек демона (по умолчанию первый, который есть: %1).</translation>
    </message>
    <message>
        <source>file</source>
        <translation>файл</translation>
    </message>
    <message>
        <source>The meter&apos;s key in the register.</source>
        <translation>Ключ счётчика в реестре.</translation>
    </message>
    <message>
        <source>The register as comma-separated values.</source>
        <translation>Реестр в виде CSV.</translation>
    </message>
    <message>
        <source>There is no option &quot;%1&quot;.</source>
        <translation>Нет параметра «%1».</translation>
    </message>
    <message>
        <source>A file is missing.</source>
        <translation>Не указан файл.</translation>
    </message>
    <message>
        <source>A global_id is missing.</source>
        <translation>Не указан global_id.</translation>
    </message>
    <message>
        <source>Too many words: &quot;%1&quot;.</source>
        <translation>Лишнее слово: «%1».</translation>
    </message>
    <message>
        <source>There is no settings file, neither %1 nor %2; name one: -settings FILE</source>
        <translation>Нет файла настроек: ни %1, ни %2; укажите его: -settings ФАЙЛ</translation>
    </message>
    <message>
        <source>No -settings was given; %1 is taken.</source>
        <translation>-settings не задан; взят %1.</translation>
    </message>
    <message>
        <source>Nothing is done while the settings have problems.</source>
        <translation>Ничего не сделано: сначала исправьте настройки.</translation>
    </message>
    <message>
        <source>%1, line %2</source>
        <translation>%1, строка %2</translation>
    </message>
    <message>
        <source>%1: &quot;#&quot; begins no comment in this format; begin the line with &quot;;&quot;</source>
        <translation>%1: «#» в этом формате не начинает комментарий; начните строку с «;»</translation>
    </message>
    <message>
        <source>%1: this is neither [group] nor key=value</source>
        <translation>%1: это не [группа] и не ключ=значение</translation>
    </message>
    <message>
        <source>%1: the value of %2 ends at the semicolon; write the whole value in double quotes</source>
        <translation>%1: значение %2 обрывается на точке с запятой; возьмите всё значение в двойные кавычки</translation>
    </message>
    <message>
        <source>%1: the value of %2 goes on in the next line: a quote is not closed, or a backslash stands at the end</source>
        <translation>%1: значение %2 продолжается на следующей строке: не закрыта кавычка, или в конце стоит обратная косая черта</translation>
    </message>
    <message>
        <source>%1: in %2, %3 is an escape of the file&apos;s format and does not stay; write two backslashes</source>
        <translation>%1: в %2 последовательность %3 в этом формате служебная и пропадает; пишите обратную косую черту дважды</translation>
    </message>
    <message>
        <source>%1: %2 is set in line %3 already; only the last one counts</source>
        <translation>%1: %2 уже задан в строке %3; действует только последнее значение</translation>
    </message>
    <message>
        <source>%1: no meter is registered</source>
        <translation>%1: не зарегистрировано ни одного счётчика</translation>
    </message>
    <message>
        <source>Base/LogName, %1: it cannot be written</source>
        <translation>Base/LogName, %1: запись невозможна</translation>
    </message>
    <message>
        <source>Tells what would keep the daemon from working, before it is started.</source>
        <translation>Говорит до запуска демона, что помешает ему работать.</translation>
    </message>
    <message>
        <source>Tells when sweeps are due and how long they take.</source>
        <translation>Говорит, когда бывают обходы и сколько они длятся.</translation>
    </message>
    <message>
        <source>The database&apos;s schema and the register of meters in it.</source>
        <translation>Схема базы данных и реестр счётчиков в ней.</translation>
    </message>
    <message>
        <source>Looks after what the daemon works with.</source>
        <translation>Следит за тем, с чем работает демон.</translation>
    </message>
    <message>
        <source>clock setting</source>
        <translation>установка часов</translation>
    </message>
    <message>
        <source>time sweep</source>
        <translation>опрос часов</translation>
    </message>
    <message>
        <source>query sweep</source>
        <translation>опрос показаний</translation>
    </message>
    <message>
        <source>the %1 of %2 cannot be over before %3: %4 at best; meters behind nodes that would fit: %5</source>
        <translation>%1, %2: не успеет завершиться до %3, в лучшем случае %4; счётчиков за узлами поместилось бы: %5</translation>
    </message>
    <message>
        <source>the %1 of %2 may not be over before %3: %4 at worst; meters behind nodes that would fit: %5</source>
        <translation>%1, %2: может не завершиться до %3, в худшем случае %4; счётчиков за узлами поместилось бы: %5</translation>
    </message>
    <message>
        <source>no end</source>
        <translation>без конца</translation>
    </message>
    <message>
        <source>%1 s (%2 min)</source>
        <translation>%1 с (%2 мин)</translation>
    </message>
    <message>
        <source> and </source>
        <translation> и </translation>
    </message>
    <message>
        <source>the daemon runs (process %1) and has it, as it should</source>
        <translation>его держит работающий демон (процесс %1), как и должно быть</translation>
    </message>
    <message>
        <source>a program of another user has it, the daemon if that is running</source>
        <translation>его держит программа другого пользователя; если демон работает, то он</translation>
    </message>
    <message>
        <source>another program has it: %1 (process %2)</source>
        <translation>его держит другая программа: %1 (процесс %2)</translation>
    </message>
    <message>
        <source>the user %1 may not open it; it belongs to the user %2 and the group %3, mode %4</source>
        <translation>пользователь %1 не может его открыть; владелец %2, группа %3, права %4</translation>
    </message>
    <message>
        <source>; put the user into the group: adduser %1 %2</source>
        <translation>; добавьте пользователя в группу: adduser %1 %2</translation>
    </message>
    <message>
        <source>it is no device</source>
        <translation>это не устройство</translation>
    </message>
    <message>
        <source>it is no serial line</source>
        <translation>это не последовательная линия</translation>
    </message>
    <message>
        <source>this is the modem&apos;s line</source>
        <translation>это линия модема</translation>
    </message>
    <message>
        <source>%1: %2 added, %3 changed, %4 as they were, %5 not in the file.</source>
        <translation>%1: добавлено %2, изменено %3, без изменений %4, нет в файле %5.</translation>
    </message>
    <message>
        <source>%1: no meter with global_id &quot;%2&quot; is registered</source>
        <translation>%1: счётчик с global_id «%2» не зарегистрирован</translation>
    </message>
    <message>
        <source>Removed %1: %2, UIN %3.</source>
        <translation>Удалён %1: %2, UIN %3.</translation>
    </message>
    <message>
        <source>Makes the tables, indexes and views that the daemon needs in its database. What is there already
is left as it is; if the daemon cannot work with it, that is told and nothing is made. An SQLite
file and its directory are made, and its write-ahead log is switched on; a PostgreSQL database
must exist. As the daemon does, takes a BaseName of SQLite without a leading slash from the
program&apos;s own directory.</source>
        <translation>Создаёт в базе данных таблицы, индексы и представления, которые нужны демону. Что уже есть, остаётся
как есть; если демон не сможет с этим работать, об этом сообщается и ничего не создаётся. Файл SQLite
и его каталог создаются, журнал упреждающей записи включается; база PostgreSQL должна существовать.
Как и демон, ищет BaseName для SQLite без начальной косой черты в каталоге программы.</translation>
    </message>
    <message>
        <source>The %1 is ready.</source>
        <translation>Готово: %1.</translation>
    </message>
    <message>
        <source>Fills the register of meters from a file. A meter is known by its global_id: those that are
registered already get the values of the file, new ones are added, and those that the file does
not name stay. When anything in the file, or in the register as it would be then, is wrong, all of
that is told and nothing is written.</source>
        <translation>Заполняет реестр счётчиков из файла. Счётчик узнаётся по global_id: уже зарегистрированные получают
значения из файла, новые добавляются, остальные остаются. Если в файле или в реестре, каким он
стал бы, что-то неверно, сообщается всё, и ничего не записывается.</translation>
    </message>
    <message>
        <source>Takes meters out of the register; their readings stay. When one of them is not registered, that is
told and none is removed.</source>
        <translation>Удаляет счётчики из реестра; их показания остаются. Если хотя бы один не зарегистрирован, об этом
сообщается, и не удаляется ни один.</translation>
    </message>
    <message>
        <source>%1: no problems; %2.</source>
        <translation>%1: ошибок нет; %2.</translation>
    </message>
    <message>
        <source>Tells everything that is wrong with a register of meters: with a file before it is imported, or,
without a file, with the register in the daemon&apos;s database. Changes nothing.</source>
        <translation>Сообщает всё, что неверно в реестре счётчиков: в файле до загрузки или, если файл не указан,
в реестре в базе данных демона. Ничего не меняет.</translation>
    </message>
    <message>
        <source>Makes the tables in the daemon&apos;s database.</source>
        <translation>Создаёт таблицы в базе данных демона.</translation>
    </message>
    <message>
        <source>Fills the register from a file.</source>
        <translation>Заполняет реестр из файла.</translation>
    </message>
    <message>
        <source>Takes meters out of the register.</source>
        <translation>Удаляет счётчики из реестра.</translation>
    </message>
    <message>
        <source>Tells what is wrong with a file or with the register in the database.</source>
        <translation>Сообщает, что неверно в файле или в реестре в базе данных.</translation>
    </message>
    <message>
        <source>%1: table %2 has no column %3</source>
        <translation>%1: в таблице %2 нет столбца %3</translation>
    </message>
    <message>
        <source>%1: Main_Data and &quot;Main_Data&quot; are two tables; one must be a view of the other</source>
        <translation>%1: Main_Data и &quot;Main_Data&quot; — две таблицы; одна из них должна быть представлением другой</translation>
    </message>
    <message>
        <source>%1: %2 cannot be written</source>
        <translation>%1: в %2 нельзя писать</translation>
    </message>
    <message>
        <source>%1: the role %2 may not %3 in table %4</source>
        <translation>%1: роли %2 не разрешён %3 в таблице %4</translation>
    </message>
    <message>
        <source>the directory %1 cannot be made</source>
        <translation>нельзя создать каталог %1</translation>
    </message>
    <message>
        <source>%1 is there already.</source>
        <translation>%1 уже есть.</translation>
    </message>
    <message>
        <source>Left the index %1 out: %2 is a view.</source>
        <translation>Индекс %1 не создан: %2 — представление.</translation>
    </message>
    <message>
        <source>Made the %1 %2.</source>
        <translation>Создано: %1 %2.</translation>
    </message>
    <message>
        <source>The write-ahead log is on already.</source>
        <translation>Журнал упреждающей записи уже включён.</translation>
    </message>
    <message>
        <source>Switched the write-ahead log on.</source>
        <translation>Включён журнал упреждающей записи.</translation>
    </message>
    <message>
        <source>the write-ahead log cannot be switched on</source>
        <translation>не удалось включить журнал упреждающей записи</translation>
    </message>
    <message>
        <source>  never</source>
        <translation>  никогда</translation>
    </message>
    <message>
        <source>%1, together with the %2</source>
        <translation>%1, вместе: %2</translation>
    </message>
    <message>
        <source>airtime, %1:</source>
        <translation>время в эфире, %1:</translation>
    </message>
    <message>
        <source>  %1: %2 at best, %3 at worst</source>
        <translation>  %1: %2 в лучшем случае, %3 в худшем</translation>
    </message>
    <message>
        <source>  At best, too, every pass is made for the meters whose answers are never stored (CE102): %1</source>
        <translation>  И в лучшем случае все проходы делаются ради счётчиков, чьи ответы не сохраняются (CE102): %1</translation>
    </message>
    <message>
        <source>  No substation meter can be read, yet every query sweep tries %1 times</source>
        <translation>  Счётчика подстанции прочитать нельзя, но каждый обход показаний делает попыток: %1</translation>
    </message>
    <message>
        <source>  With RepeatQueryNumber=0 a time sweep asks nobody</source>
        <translation>  При RepeatQueryNumber=0 обход часов никого не спрашивает</translation>
    </message>
    <message>
        <source>Warning: %1</source>
        <translation>Внимание: %1</translation>
    </message>
    <message>
        <source>Tells the next minutes in which clocks are set and sweeps start, how long that takes with the
register and the delays as they are, and which sweeps are not over when the next one is due.
Ends with exit code 1 when one cannot be over even if every meter answers at once.</source>
        <translation>Показывает ближайшие минуты, когда устанавливаются часы и начинаются обходы, сколько это длится при
нынешних реестре и паузах и какие обходы не успевают завершиться к следующему. Код завершения 1,
если обход не успевает, даже когда все счётчики отвечают сразу.</translation>
    </message>
    <message>
        <source>time</source>
        <translation>время</translation>
    </message>
    <message>
        <source>Where to begin: &quot;yyyy-MM-dd hh:mm&quot; (default: now).</source>
        <translation>С какого времени: «yyyy-MM-dd hh:mm» (по умолчанию с текущего).</translation>
    </message>
    <message>
        <source>number</source>
        <translation>число</translation>
    </message>
    <message>
        <source>How many minutes of each, 1 to 1000 (default 5).</source>
        <translation>По скольку минут, от 1 до 1000 (по умолчанию 5).</translation>
    </message>
    <message>
        <source>--from takes &quot;yyyy-MM-dd hh:mm&quot;, --count a number from 1 to 1000.</source>
        <translation>--from принимает «yyyy-MM-dd hh:mm», --count число от 1 до 1000.</translation>
    </message>
    <message>
        <source>only the low bits of it count</source>
        <translation>считаются только его младшие биты</translation>
    </message>
    <message>
        <source>of it the low 8 bits count, and a sweep never makes the 128th pass nor ends</source>
        <translation>считаются его младшие 8 бит, а обход никогда не делает 128-го прохода и не кончается</translation>
    </message>
    <message>
        <source>%1: %2 is no key of the daemon&apos;s</source>
        <translation>%1: демон не знает ключа %2</translation>
    </message>
    <message>
        <source>; is %1 meant?</source>
        <translation>; может быть, %1?</translation>
    </message>
    <message>
        <source>%1: everybody can read the password (%2); chmod o= helps</source>
        <translation>%1: пароль (%2) может прочитать кто угодно; поможет chmod o=</translation>
    </message>
    <message>
        <source>%1 must be from %2 to %3, not %4: %5</source>
        <translation>%1 должен быть от %2 до %3, а не %4: %5</translation>
    </message>
    <message>
        <source>the modem would have no time between two messages</source>
        <translation>у модема не было бы времени между двумя сообщениями</translation>
    </message>
    <message>
        <source>Main/CounterKTPMultiplier must be more than 0, not %1</source>
        <translation>Main/CounterKTPMultiplier должен быть больше 0, а не %1</translation>
    </message>
    <message>
        <source>Base/SqlPort must be -1 or from 1 to 65535, not %1</source>
        <translation>Base/SqlPort должен быть -1 или от 1 до 65535, а не %1</translation>
    </message>
    <message>
        <source>Base/Log is 0: nothing will be logged but what is wrong with the settings; set it to 1</source>
        <translation>Base/Log равен 0: в журнал попадёт только неверное в настройках; задайте 1</translation>
    </message>
    <message>
        <source>no time &quot;dd hh:mm&quot; matches</source>
        <translation>не подходит ни одно время «dd hh:mm»</translation>
    </message>
    <message>
        <source>every minute matches</source>
        <translation>подходит каждая минута</translation>
    </message>
    <message>
        <source>%1, %2: looked for in the directory that the daemon is started in; begin it with a slash</source>
        <translation>%1, %2: ищется в каталоге, из которого запущен демон; начните с косой черты</translation>
    </message>
    <message>
        <source>it has not ended within %1 s</source>
        <translation>не завершилась за %1 с</translation>
    </message>
    <message>
        <source>Main/NtpServer, %1: ntpq -pn lists no server, the time daemon does not work; polling would stand still from the first time sweep on</source>
        <translation>Main/NtpServer, %1: ntpq -pn не показывает ни одного сервера, служба времени не работает; с первого обхода часов опрос встанет</translation>
    </message>
    <message>
        <source>Main/NtpServer, %1: ntpq -pn does not list it; polling would stand still from the first time sweep on</source>
        <translation>Main/NtpServer, %1: ntpq -pn его не показывает; с первого обхода часов опрос встанет</translation>
    </message>
    <message>
        <source>ntpq is not in PATH: polling would stop at the first time sweep</source>
        <translation>ntpq нет в PATH: опрос прекратится на первом обходе часов</translation>
    </message>
    <message>
        <source>ntpq -pn: %1; polling would stop at the first time sweep</source>
        <translation>ntpq -pn: %1; опрос прекратится на первом обходе часов</translation>
    </message>
    <message>
        <source>  At best means a node each %1 ms, %2 on their way</source>
        <translation>  В лучшем случае: узел каждые %1 мс, %2 в пути</translation>
    </message>
    <message>
        <source>  As on the last day in the database, a node each %1 ms, %2 silent:</source>
        <translation>  Как в последний день в базе данных, узел каждые %1 мс, молчат %2:</translation>
    </message>
    <message>
        <source>    %1: %2</source>
        <translation>    %1: %2</translation>
    </message>
    <message>
        <source>No setting of the group Field makes it fit: sweep less often, or spread the meters over more modems.</source>
        <translation>Никакая настройка группы Field не поможет: опрашивайте реже или распределите счётчики по нескольким модемам.</translation>
    </message>
    <message>
        <source>In the group Field this would make it fit: %1</source>
        <translation>С такой настройкой группы Field опрос успеет: %1</translation>
    </message>
    <message>
        <source>The copy is not sound: %1</source>
        <translation>Копия повреждена: %1</translation>
    </message>
    <message>
        <source>%1 is copied; rows in the copy: %2.</source>
        <translation>%1: скопирована; строк в копии: %2.</translation>
    </message>
    <message>
        <source>Copies the database into a file while the daemon runs, all of it as of one moment, and reads the
copy to its end before it gets its name. An SQLite database becomes an SQLite file, a PostgreSQL
database an archive for pg_restore. Its owner may write the file and its group read it.</source>
        <translation>Копирует базу данных в файл, не останавливая демон, всю на один момент времени, и читает
копию до конца, прежде чем дать ей имя. База SQLite становится файлом SQLite, база PostgreSQL -
архивом для pg_restore. Владелец может писать в файл, группа - читать его.</translation>
    </message>
    <message>
        <source>Takes the place of a file of that name.</source>
        <translation>Заменяет файл с этим именем.</translation>
    </message>
    <message>
        <source>The file to write.</source>
        <translation>Записываемый файл.</translation>
    </message>
    <message>
        <source>%1 cannot be started; it is in the package postgresql-client</source>
        <translation>%1 не запускается; он в пакете postgresql-client</translation>
    </message>
    <message>
        <source>%1 failed</source>
        <translation>%1 завершился с ошибкой</translation>
    </message>
    <message>
        <source>the copy has no table %1</source>
        <translation>в копии нет таблицы %1</translation>
    </message>
    <message>
        <source>Deletes readings that are older than a number of months.</source>
        <translation>Удаляет показания старше заданного числа месяцев.</translation>
    </message>
    <message>
        <source>Copies the database while the daemon runs.</source>
        <translation>Копирует базу данных, не останавливая демон.</translation>
    </message>
    <message>
        <source>it is there already; --replace takes its place</source>
        <translation>он уже есть; --replace заменит его</translation>
    </message>
    <message>
        <source>This file was made without a way to shrink in steps. End the daemon, then: sqlite3 FILE &quot;PRAGMA auto_vacuum = INCREMENTAL; VACUUM&quot;</source>
        <translation>Этот файл создан без возможности сжатия по частям. Остановите демон, затем: sqlite3 ФАЙЛ &quot;PRAGMA auto_vacuum = INCREMENTAL; VACUUM&quot;</translation>
    </message>
    <message>
        <source>Room in the file for new rows: %1 MB.</source>
        <translation>В файле свободно для новых строк: %1 МБ.</translation>
    </message>
    <message>
        <source>%1: older than %2 are %3 readings and %4 clock readings.</source>
        <translation>%1: старше %2: показаний %3, показаний часов %4.</translation>
    </message>
    <message>
        <source>Deleted rows: %1.</source>
        <translation>Удалено строк: %1.</translation>
    </message>
    <message>
        <source>Deletes readings and clock readings that are older than a number of months, a few rows at a time, so
that the daemon can go on. The newest day stays in any case. The room is used for new rows; an
SQLite file can be made smaller, too.</source>
        <translation>Удаляет показания и показания часов старше заданного числа месяцев, понемногу, чтобы демон
мог работать. Самый новый день остаётся всегда. Место используется для новых строк; файл SQLite
можно и уменьшить.</translation>
    </message>
    <message>
        <source>months</source>
        <translation>месяцы</translation>
    </message>
    <message>
        <source>How many months stay, 1 to 1200.</source>
        <translation>Сколько месяцев остаётся, от 1 до 1200.</translation>
    </message>
    <message>
        <source>Only tells how many rows would go.</source>
        <translation>Только сообщает, сколько строк было бы удалено.</translation>
    </message>
    <message>
        <source>Gives the room of deleted rows in an SQLite file back, in small steps.</source>
        <translation>Возвращает место удалённых строк в файле SQLite, небольшими частями.</translation>
    </message>
    <message>
        <source>--keep takes a number of months from 1 to 1200.</source>
        <translation>--keep принимает число месяцев от 1 до 1200.</translation>
    </message>
    <message>
        <source>Makes an installation ready, from the settings to the register.</source>
        <translation>Готовит установку: от настроек до реестра.</translation>
    </message>
    <message>
        <source>Gathers what a technician needs to see, without passwords.</source>
        <translation>Собирает то, что нужно видеть технику, без паролей.</translation>
    </message>
    <message>
        <source>%1 is written: %2.</source>
        <translation>%1 записан: %2.</translation>
    </message>
    <message>
        <source>Next: start the daemon, &quot;systemctl enable --now ravelin&quot; or &quot;ravelin -settings %1&quot;.</source>
        <translation>Дальше: запустите демон, &quot;systemctl enable --now ravelin&quot; или &quot;ravelin -settings %1&quot;.</translation>
    </message>
    <message>
        <source>Next: mend what is told above, then run this again.</source>
        <translation>Дальше: исправьте то, что сказано выше, и повторите команду.</translation>
    </message>
    <message>
        <source>Makes an installation ready: asks for what it needs to know, writes the settings, makes the
database, imports the register of meters, checks all of it and tells the airtime and what to do
next. What stands already stays, unless an option or an answer says otherwise.</source>
        <translation>Готовит установку: спрашивает, что нужно знать, пишет настройки, создаёт базу данных, загружает
реестр счётчиков, проверяет всё это и сообщает эфирное время и что делать дальше. Что уже есть,
остаётся, если параметр или ответ не говорит иного.</translation>
    </message>
    <message>
        <source>Asks nothing: what no option names stays, or gets its default.</source>
        <translation>Ничего не спрашивает: что не названо, остаётся или получает значение по умолчанию.</translation>
    </message>
    <message>
        <source>The database is set in another file, %1; change it there.</source>
        <translation>База данных задана в другом файле, %1; измените её там.</translation>
    </message>
    <message>
        <source>File with the register of meters; none leaves it</source>
        <translation>Файл с реестром счётчиков; пусто - оставить как есть</translation>
    </message>
    <message>
        <source>%1 stays as it is.</source>
        <translation>%1 остаётся как есть.</translation>
    </message>
    <message>
        <source>Serial line of the modem</source>
        <translation>Последовательная линия модема</translation>
    </message>
    <message>
        <source>Serial line of the substation meter</source>
        <translation>Последовательная линия счётчика подстанции</translation>
    </message>
    <message>
        <source>Number of the substation, or the daemon&apos;s name on the bus</source>
        <translation>Номер подстанции или имя демона на шине</translation>
    </message>
    <message>
        <source>Bus name of the administrative server</source>
        <translation>Имя административного сервера на шине</translation>
    </message>
    <message>
        <source>Database, sqlite3 or postgres</source>
        <translation>База данных, sqlite3 или postgres</translation>
    </message>
    <message>
        <source>File or name of the database</source>
        <translation>Файл или имя базы данных</translation>
    </message>
    <message>
        <source>Host of the database</source>
        <translation>Узел базы данных</translation>
    </message>
    <message>
        <source>Role in the database</source>
        <translation>Роль в базе данных</translation>
    </message>
    <message>
        <source>Password in the database</source>
        <translation>Пароль в базе данных</translation>
    </message>
    <message>
        <source>value</source>
        <translation>значение</translation>
    </message>
    <message>
        <source>A file whose first line is the password in the database.</source>
        <translation>Файл, первая строка которого - пароль в базе данных.</translation>
    </message>
    <message>
        <source>There is no answer; --yes takes what stands in brackets.</source>
        <translation>Ответа нет; --yes берёт то, что в скобках.</translation>
    </message>
    <message>
        <source>Gathered without passwords: %1.</source>
        <translation>Собрано без паролей: %1.</translation>
    </message>
    <message>
        <source>Gathers into an archive, FILE.tar.gz, what a technician needs to see: the settings without
passwords, what &quot;check&quot; and &quot;schedule&quot; say, the last sweeps and the end of the log. Look at it
before you send it: it names places and meters.</source>
        <translation>Собирает в архив FILE.tar.gz то, что нужно видеть технику: настройки без паролей, вывод команд
&quot;check&quot; и &quot;schedule&quot;, последние опросы и конец журнала. Просмотрите его перед отправкой: в нём
названы места и счётчики.</translation>
    </message>
    <message>
        <source>
Options:
</source>
        <translation>
Параметры:
</translation>
    </message>
    <message>
        <source>Tells the version.</source>
        <translation>Выводит номер версии.</translation>
    </message>
    <message>
        <source>%1 to %2, incidents: %3</source>
        <translation>с %1 по %2, происшествий: %3</translation>
    </message>
    <message>
        <source>Tells why readings are missing: one finding for one cause, with the sweeps and the meters concerned.
Knows what the rows tell: run it in the daemon&apos;s time zone and with the settings of those days.
Exit code: 0 no incident, 3 incidents, 1 the rows cannot be read, 2 wrong usage.</source>
        <translation>Показывает, почему нет показаний: одна причина — одна запись, с обходами и счётчиками, которых она касается.
Знает то, что видно из строк: запускайте в часовом поясе демона и с настройками тех дней.
Код завершения: 0 происшествий нет, 3 есть, 1 строки не читаются, 2 неверный вызов.</translation>
    </message>
    <message>
        <source>date</source>
        <translation>дата</translation>
    </message>
    <message>
        <source>The first day, yyyy-MM-dd (default: a week ago).</source>
        <translation>Первый день, yyyy-MM-dd (по умолчанию неделю назад).</translation>
    </message>
    <message>
        <source>The last day, yyyy-MM-dd (default: today).</source>
        <translation>Последний день, yyyy-MM-dd (по умолчанию сегодня).</translation>
    </message>
    <message>
        <source>--from and --to take yyyy-MM-dd, in this order, and no day to come.</source>
        <translation>--from и --to принимают yyyy-MM-dd, в этом порядке и не в будущем.</translation>
    </message>
    <message>
        <source>Which readings of a day or month are there, missing, or strange; clocks.</source>
        <translation>Какие показания за день или месяц есть, каких нет, какие странные; часы.</translation>
    </message>
    <message>
        <source>Why readings are missing: one finding for one cause.</source>
        <translation>Почему нет показаний: одна причина — одна запись.</translation>
    </message>
    <message>
        <source>Give one of --day yyyy-MM-dd and --month yyyy-MM, and no time to come.</source>
        <translation>Задайте --day yyyy-MM-dd или --month yyyy-MM, не в будущем.</translation>
    </message>
    <message>
        <source>--deadline takes hh:mm, --format text, json or csv, --at-least 0 to 100, --most-kw and --substation-kw 0.001 to 1000000.</source>
        <translation>--deadline принимает hh:mm, --format text, json или csv, --at-least от 0 до 100, --most-kw и --substation-kw от 0.001 до 1000000.</translation>
    </message>
    <message>
        <source>The day, yyyy-MM-dd (default: yesterday).</source>
        <translation>День, yyyy-MM-dd (по умолчанию вчера).</translation>
    </message>
    <message>
        <source>month</source>
        <translation>месяц</translation>
    </message>
    <message>
        <source>A month instead, yyyy-MM.</source>
        <translation>Вместо дня месяц, yyyy-MM.</translation>
    </message>
    <message>
        <source>format</source>
        <translation>формат</translation>
    </message>
    <message>
        <source>text, json, or csv: a line of counts for each meter and day (default: text).</source>
        <translation>text, json или csv: строка чисел на каждый счётчик и день (по умолчанию text).</translation>
    </message>
    <message>
        <source>By when a day&apos;s readings are to be there, hh:mm of the day after (default 06:00).</source>
        <translation>К какому времени следующего дня должны быть показания, hh:mm (по умолчанию 06:00).</translation>
    </message>
    <message>
        <source>percent</source>
        <translation>процент</translation>
    </message>
    <message>
        <source>So many of the due readings make exit code 0 (default 100).</source>
        <translation>Сколько положенных показаний нужно для кода 0 (по умолчанию 100).</translation>
    </message>
    <message>
        <source>kW</source>
        <translation>кВт</translation>
    </message>
    <message>
        <source>More behind a node is a jump (default 100).</source>
        <translation>Больше за узлом — скачок (по умолчанию 100).</translation>
    </message>
    <message>
        <source>More at the substation meter is a jump (default 2500).</source>
        <translation>Больше на счётчике подстанции — скачок (по умолчанию 2500).</translation>
    </message>
    <message>
        <source>An earlier register; numbers of meters that are others now are told.</source>
        <translation>Прежний реестр: покажет счётчики, у которых теперь другой номер.</translation>
    </message>
    <message>
        <source>Tells for a day or a month which readings were due, which are there, late, or missing and why, which
readings are strange, and which clocks are off. Knows what the rows tell: run it in the daemon&apos;s time
zone and with the settings of those days.
Exit code: 0 all is there and nothing strange, 3 something is missing or strange, 1 the rows cannot
be read, 2 wrong usage.</source>
        <translation>Показывает за день или месяц, какие показания ожидались, какие есть, опоздали или отсутствуют и почему,
какие странные и у каких счётчиков неверны часы. Знает то, что видно из строк: запускайте в часовом
поясе демона и с настройками тех дней.
Код завершения: 0 всё есть и странного нет, 3 чего-то нет или что-то странно, 1 строки не читаются,
2 неверный вызов.</translation>
    </message>
    <message>
        <source>due</source>
        <translation>надо</translation>
    </message>
    <message>
        <source>read</source>
        <translation>есть</translation>
    </message>
    <message>
        <source>late</source>
        <translation>поздно</translation>
    </message>
    <message>
        <source>in time</source>
        <translation>в срок</translation>
    </message>
    <message>
        <source>%1 to %2</source>
        <translation>с %1 по %2</translation>
    </message>
    <message>
        <source>%1: sweeps due: %2, made: %3</source>
        <translation>%1: обходов положено: %2, сделано: %3</translation>
    </message>
    <message>
        <source>readings due: %1, there: %2 (%3 %), of these late: %4</source>
        <translation>показаний ожидалось: %1, есть: %2 (%3 %), из них поздних: %4</translation>
    </message>
    <message>
        <source>in time, by %1 of the day after: %2 (%3 %)</source>
        <translation>в срок, к %1 следующего дня: %2 (%3 %)</translation>
    </message>
    <message>
        <source>, and perhaps %1: the rows do not tell</source>
        <translation>, и, возможно, ещё %1: по строкам не видно</translation>
    </message>
    <message>
        <source>rows whose time is none, left out: %1</source>
        <translation>пропущено строк, где не время: %1</translation>
    </message>
    <message>
        <source>day</source>
        <translation>день</translation>
    </message>
    <message>
        <source>meter: readings that are not there</source>
        <translation>счётчик: каких показаний нет</translation>
    </message>
    <message>
        <source>further meters with gaps: %1, each with %2 % or more; --format csv lists all</source>
        <translation>ещё счётчиков с пропусками: %1, у каждого не меньше %2 %; все — с --format csv</translation>
    </message>
    <message>
        <source>meters with a reading in each sweep that was made: %1</source>
        <translation>счётчиков с показанием в каждом сделанном обходе: %1</translation>
    </message>
    <message>
        <source>meters without any row, not counted: %1</source>
        <translation>счётчики без единой строки, не учтены: %1</translation>
    </message>
    <message>
        <source>readings to look at:</source>
        <translation>показания, на которые стоит посмотреть:</translation>
    </message>
    <message>
        <source>clocks read in 30 days: %1 of %2</source>
        <translation>часы прочитаны за 30 дней: %1 из %2</translation>
    </message>
    <message>
        <source>, by this computer&apos;s own clock alone: %1</source>
        <translation>, только по часам этого компьютера: %1</translation>
    </message>
    <message>
        <source>The controller&apos;s name, which its role has, too.</source>
        <translation>Имя контроллера, оно же имя его роли.</translation>
    </message>
    <message>
        <source>The name of a controller is missing.</source>
        <translation>Не указано имя контроллера.</translation>
    </message>
    <message>
        <source>connection</source>
        <translation>подключение</translation>
    </message>
    <message>
        <source>The centre as libpq takes it, &quot;host=... dbname=... user=...&quot; (default: the database of the settings file).</source>
        <translation>Центр в записи libpq: &quot;host=... dbname=... user=...&quot; (по умолчанию база данных из файла настроек).</translation>
    </message>
    <message>
        <source>This database has no schema of a fleet; &quot;ravelinctl fleet init&quot; makes it.</source>
        <translation>В этой базе данных нет схемы центра; её создаёт &quot;ravelinctl fleet init&quot;.</translation>
    </message>
    <message>
        <source>The centre&apos;s schema has version %1, this program knows version %2.</source>
        <translation>Схема центра имеет версию %1, эта программа знает версию %2.</translation>
    </message>
    <message>
        <source>A centre is a PostgreSQL database: name it by --centre, or by settings with BDType=postgres.</source>
        <translation>Центр — это база данных PostgreSQL: укажите её ключом --centre или файлом настроек с BDType=postgres.</translation>
    </message>
    <message>
        <source>The driver of PostgreSQL is not installed; it is in the package %1.</source>
        <translation>Драйвер PostgreSQL не установлен; он в пакете %1.</translation>
    </message>
    <message>
        <source>The centre: %1</source>
        <translation>Центр: %1</translation>
    </message>
    <message>
        <source>The centre must be PostgreSQL 14 or newer.</source>
        <translation>Для центра нужен PostgreSQL 14 или новее.</translation>
    </message>
    <message>
        <source>How many months beside this one, 1 to 1200 (default 3).</source>
        <translation>Сколько месяцев кроме текущего, от 1 до 1200 (по умолчанию 3).</translation>
    </message>
    <message>
        <source>The first month, yyyy-MM, for rows that are older than the centre (default: this month).</source>
        <translation>Первый месяц, yyyy-MM, для строк старше самого центра (по умолчанию текущий).</translation>
    </message>
    <message>
        <source>--ahead takes 1 to 1200 months, --since a month yyyy-MM that has begun.</source>
        <translation>--ahead принимает от 1 до 1200 месяцев, --since — уже начавшийся месяц yyyy-MM.</translation>
    </message>
    <message>
        <source>Months made: %1.</source>
        <translation>Созданы месяцы: %1.</translation>
    </message>
    <message>
        <source>Makes the months that rows will come to. A row whose month is not there is refused: run this
once a month, by a timer, with some months ahead.</source>
        <translation>Создаёт месяцы, в которые попадут строки. Строка, для которой месяца нет, отвергается: запускайте
команду раз в месяц по таймеру, с запасом в несколько месяцев.</translation>
    </message>
    <message>
        <source>Drops whole months of readings and clock readings of all controllers. They are gone at once, and so
is the room that they took. Older rows are not taken any more.</source>
        <translation>Удаляет целые месяцы показаний и показаний часов всех контроллеров. Они исчезают сразу, и занятое
ими место освобождается. Более старые строки больше не принимаются.</translation>
    </message>
    <message>
        <source>How many months stay beside the current one, 1 to 1200.</source>
        <translation>Сколько месяцев остаётся кроме текущего, от 1 до 1200.</translation>
    </message>
    <message>
        <source>Only tells which months would go.</source>
        <translation>Только сообщает, какие месяцы были бы удалены.</translation>
    </message>
    <message>
        <source>Months that would go: %1.</source>
        <translation>Были бы удалены месяцы: %1.</translation>
    </message>
    <message>
        <source>Months dropped: %1. Rows are kept since %2.</source>
        <translation>Удалены месяцы: %1. Строки хранятся с %2.</translation>
    </message>
    <message>
        <source>Makes the schema of a centre in an empty PostgreSQL database, and its first months. The role that
does it owns it, and must be allowed to make roles.</source>
        <translation>Создаёт схему центра в пустой базе данных PostgreSQL и её первые месяцы. Роль, которая это делает,
становится владельцем и должна иметь право создавать роли.</translation>
    </message>
    <message>
        <source>The schema is there already.</source>
        <translation>Схема уже есть.</translation>
    </message>
    <message>
        <source>Made the schema.</source>
        <translation>Схема создана.</translation>
    </message>
    <message>
        <source>A controller&apos;s name has 1 to 63 bytes, no control characters, no blank at its ends, and is none of &quot;public&quot;, &quot;none&quot; and &quot;pg_...&quot;.</source>
        <translation>Имя контроллера занимает от 1 до 63 байт, без управляющих символов и без пробелов по краям, и это не &quot;public&quot;, не &quot;none&quot; и не &quot;pg_...&quot;.</translation>
    </message>
    <message>
        <source>%1: its first line is no password.</source>
        <translation>%1: в первой строке нет пароля.</translation>
    </message>
    <message>
        <source>Lets a controller in: a login role of its name, which sees its own rows alone. Its password is told
once, unless a file holds it.</source>
        <translation>Допускает контроллер: создаёт роль с его именем, которой видны только её собственные строки. Пароль
сообщается один раз, если он не задан файлом.</translation>
    </message>
    <message>
        <source>Its first line is the password.</source>
        <translation>Первая строка этого файла — пароль.</translation>
    </message>
    <message>
        <source>Added the controller %1.</source>
        <translation>Контроллер %1 добавлен.</translation>
    </message>
    <message>
        <source>Its password, told this once: %1</source>
        <translation>Его пароль, сообщается только сейчас: %1</translation>
    </message>
    <message>
        <source>Lets a controller in no more: its role goes, its rows stay.</source>
        <translation>Больше не допускает контроллер: его роль удаляется, строки остаются.</translation>
    </message>
    <message>
        <source>There is no controller %1.</source>
        <translation>Контроллера %1 нет.</translation>
    </message>
    <message>
        <source>Removed the controller %1; its rows stay.</source>
        <translation>Контроллер %1 удалён; его строки остаются.</translation>
    </message>
    <message>
        <source>Tells of each controller its newest sweep and how long ago that is, how many of today&apos;s rows are
readings, and what its forwarder had still to deliver.</source>
        <translation>Сообщает для каждого контроллера его последний опрос и давность, сколько из сегодняшних строк —
показания, и сколько строк ещё не передано.</translation>
    </message>
    <message>
        <source>For programs.</source>
        <translation>Для программ.</translation>
    </message>
    <message>
        <source>The centre has no month after %1: run &quot;ravelinctl fleet months&quot;.</source>
        <translation>В центре нет месяца после %1: запустите &quot;ravelinctl fleet months&quot;.</translation>
    </message>
    <message>
        <source>Makes the schema of a centre and its first months.</source>
        <translation>Создаёт схему центра и первые месяцы.</translation>
    </message>
    <message>
        <source>Lets a controller in: a role of its own.</source>
        <translation>Допускает контроллер: создаёт ему роль.</translation>
    </message>
    <message>
        <source>Lets a controller in no more.</source>
        <translation>Больше не допускает контроллер.</translation>
    </message>
    <message>
        <source>Tells which controllers deliver.</source>
        <translation>Сообщает, какие контроллеры передают данные.</translation>
    </message>
    <message>
        <source>Makes the months that rows will come to.</source>
        <translation>Создаёт месяцы, в которые попадут строки.</translation>
    </message>
    <message>
        <source>Drops old months.</source>
        <translation>Удаляет старые месяцы.</translation>
    </message>
    <message>
        <source>Looks after a centre: one PostgreSQL database for many controllers.</source>
        <translation>Обслуживает центр: одну базу данных PostgreSQL для многих контроллеров.</translation>
    </message>
    <message>
        <source>ahead</source>
        <translation>впереди</translation>
    </message>
    <message>
        <source>%1 min</source>
        <translation>%1 мин</translation>
    </message>
    <message>
        <source>%1 h</source>
        <translation>%1 ч</translation>
    </message>
    <message>
        <source>%1 d</source>
        <translation>%1 сут</translation>
    </message>
    <message>
        <source>meters</source>
        <translation>счётч.</translation>
    </message>
    <message>
        <source>last row</source>
        <translation>последняя строка</translation>
    </message>
    <message>
        <source>lag</source>
        <translation>давн.</translation>
    </message>
    <message>
        <source>today %</source>
        <translation>сег. %</translation>
    </message>
    <message>
        <source>waiting</source>
        <translation>ждут</translation>
    </message>
    <message>
        <source>dead</source>
        <translation>отв.</translation>
    </message>
    <message>
        <source>controller</source>
        <translation>контроллер</translation>
    </message>
    <message>
        <source>%1 (removed)</source>
        <translation>%1 (удалён)</translation>
    </message>
    <message>
        <source>The centre of many controllers: its schema, their roles, its months.</source>
        <translation>Центр многих контроллеров: его схема, их роли, его месяцы.</translation>
    </message>
    <message>
        <source>no row in this month</source>
        <translation>в этом месяце ни одной строки</translation>
    </message>
    <message>
        <source>no reading: %1</source>
        <translation>ни одного показания: %1</translation>
    </message>
    <message>
        <source>one reading only</source>
        <translation>только одно показание</translation>
    </message>
    <message>
        <source>one reading only: %1</source>
        <translation>только одно показание: %1</translation>
    </message>
    <message>
        <source>less at the end than at the beginning: exchanged or reset</source>
        <translation>в конце меньше, чем в начале: заменён или сброшен</translation>
    </message>
    <message>
        <source>use, kWh</source>
        <translation>расход, кВт·ч</translation>
    </message>
    <message>
        <source>from</source>
        <translation>с</translation>
    </message>
    <message>
        <source>until</source>
        <translation>по</translation>
    </message>
    <message>
        <source>meter</source>
        <translation>счётчик</translation>
    </message>
    <message>
        <source>%1: meters with a use: %2 of %3</source>
        <translation>%1: счётчиков с расходом: %2 из %3</translation>
    </message>
    <message>
        <source>without, and why:</source>
        <translation>без расхода, и почему:</translation>
    </message>
    <message>
        <source>Reading</source>
        <translation>Чтение</translation>
    </message>
    <message>
        <source>Tells what each meter used in a month, all tariffs and each: from which reading until which, and of every
meter without a use the reason. Of the daemon&apos;s database, or of one controller at a centre.
Exit code: 0 every meter has a use, 3 some have none, 1 the rows cannot be read, 2 wrong usage.</source>
        <translation>Сообщает расход каждого счётчика за месяц, всего и по тарифам: от какого показания до какого, а для
каждого счётчика без расхода — причину. Из базы данных демона или одного контроллера в центре.
Код завершения: 0 расход есть у всех, 3 не у всех, 1 строки не читаются, 2 неверный вызов.</translation>
    </message>
    <message>
        <source>The month, yyyy-MM (default: the last one that is over).</source>
        <translation>Месяц, yyyy-MM (по умолчанию последний закончившийся).</translation>
    </message>
    <message>
        <source>table, csv or json (default: table).</source>
        <translation>table, csv или json (по умолчанию table).</translation>
    </message>
    <message>
        <source>--month takes a month yyyy-MM that has begun, --format table, csv or json.</source>
        <translation>--month принимает уже начавшийся месяц yyyy-MM, --format — table, csv или json.</translation>
    </message>
    <message>
        <source>Writes the rows of the readings: a table, csv or json.</source>
        <translation>Выводит строки показаний: таблицей, csv или json.</translation>
    </message>
    <message>
        <source>What each meter used in a month; each meter without it, and why.</source>
        <translation>Расход каждого счётчика за месяц; у кого его нет и почему.</translation>
    </message>
    <message>
        <source>--from and --to take dates yyyy-MM-dd in order, --format table, csv or json.</source>
        <translation>--from и --to принимают даты yyyy-MM-dd по порядку, --format — table, csv или json.</translation>
    </message>
    <message>
        <source>There is no meter &quot;%1&quot; in the register.</source>
        <translation>Счётчика &quot;%1&quot; нет в реестре.</translation>
    </message>
    <message>
        <source>The rows cannot be written: %1</source>
        <translation>Строки не удаётся вывести: %1</translation>
    </message>
    <message>
        <source>Writes the rows of the readings, by time and meter, as they are: also those of silence, and why. Of the
daemon&apos;s database, or of one controller at a centre.</source>
        <translation>Выводит строки показаний по времени и счётчикам, как они есть: и те, где показания нет, с причиной. Из
базы данных демона или одного контроллера в центре.</translation>
    </message>
    <message>
        <source>The first day, yyyy-MM-dd (default: today).</source>
        <translation>Первый день, yyyy-MM-dd (по умолчанию сегодня).</translation>
    </message>
    <message>
        <source>The last day (default: today).</source>
        <translation>Последний день (по умолчанию сегодня).</translation>
    </message>
    <message>
        <source>One meter alone: its UIN, or its global_id.</source>
        <translation>Только один счётчик: его UIN или global_id.</translation>
    </message>
    <message>
        <source>date and time</source>
        <translation>дата и время</translation>
    </message>
    <message>
        <source>total, kWh</source>
        <translation>всего, кВт·ч</translation>
    </message>
    <message>
        <source>A centre of many controllers instead of the daemon&apos;s database, as libpq takes it: &quot;host=... dbname=... user=...&quot;.</source>
        <translation>Центр многих контроллеров вместо базы данных демона, в записи libpq: &quot;host=... dbname=... user=...&quot;.</translation>
    </message>
    <message>
        <source>name</source>
        <translation>имя</translation>
    </message>
    <message>
        <source>Which of them; for a role that may read all of them.</source>
        <translation>Какой из них; для роли, которой видны все.</translation>
    </message>
    <message>
        <source>Of the command.</source>
        <translation>Название команды.</translation>
    </message>
    <message>
        <source>What it takes, if it does.</source>
        <translation>Её аргумент, если он есть.</translation>
    </message>
    <message>
        <source>substation</source>
        <translation>подстанция</translation>
    </message>
    <message>
        <source>a sweep of the clocks has closed, clocks read: %1 (%2)</source>
        <translation>опрос часов закрыт, прочитано часов: %1 (%2)</translation>
    </message>
    <message>
        <source>a sweep has closed, read: %1 of %2 (%3)</source>
        <translation>опрос закрыт, прочитано: %1 из %2 (%3)</translation>
    </message>
    <message>
        <source>ALARM: the case of meter %1 was opened</source>
        <translation>ТРЕВОГА: вскрыт корпус счётчика %1</translation>
    </message>
    <message>
        <source>ALARM: the modem was lost and is started anew</source>
        <translation>ТРЕВОГА: модем пропал и запускается заново</translation>
    </message>
    <message>
        <source>ALARM: the modem refuses, error %1</source>
        <translation>ТРЕВОГА: модем отказывает, ошибка %1</translation>
    </message>
    <message>
        <source>the daemon is connected</source>
        <translation>демон подключён</translation>
    </message>
    <message>
        <source>the daemon is connected by one of two links</source>
        <translation>демон подключён одним из двух соединений</translation>
    </message>
    <message>
        <source>the daemon is not connected</source>
        <translation>демон не подключён</translation>
    </message>
    <message>
        <source>The hub refuses with status %1.</source>
        <translation>Хаб отказывает с кодом %1.</translation>
    </message>
    <message>
        <source>The hub answers: %1</source>
        <translation>Хаб отвечает: %1</translation>
    </message>
    <message>
        <source>What answers at %1 is no hub.</source>
        <translation>По адресу %1 отвечает не хаб.</translation>
    </message>
    <message>
        <source>The hub has ended the stream.</source>
        <translation>Хаб завершил поток.</translation>
    </message>
    <message>
        <source>The hub at %1 did not answer within %2 s.</source>
        <translation>Хаб по адресу %1 не ответил за %2 с.</translation>
    </message>
    <message>
        <source>The hub at %1 cannot be asked: %2.</source>
        <translation>Хаб по адресу %1 нельзя спросить: %2.</translation>
    </message>
    <message>
        <source>Nobody listens at %1: the hub has ended.</source>
        <translation>По адресу %1 никто не слушает: хаб завершился.</translation>
    </message>
    <message>
        <source>There is no hub at %1. Does the service ravelin-hub run? --hub names another socket.</source>
        <translation>По адресу %1 хаба нет. Работает ли служба ravelin-hub? --hub задаёт другой сокет.</translation>
    </message>
    <message>
        <source>You may not ask the hub at %1: that is for the user %2 and the group %3.</source>
        <translation>Спрашивать хаб по адресу %1 вам нельзя: это могут пользователь %2 и группа %3.</translation>
    </message>
    <message>
        <source>You may not ask the hub at %1: %2.</source>
        <translation>Спрашивать хаб по адресу %1 вам нельзя: %2.</translation>
    </message>
    <message>
        <source>The socket where the hub listens (default: %1).</source>
        <translation>Сокет, где слушает хаб (по умолчанию: %1).</translation>
    </message>
    <message>
        <source>One of the hub&apos;s daemons, by its ServerName; --settings names it, too, by its file.</source>
        <translation>Один из демонов хаба, по его ServerName; --settings тоже указывает его, по файлу.</translation>
    </message>
    <message>
        <source>%1 has no ServerName.</source>
        <translation>В %1 нет ServerName.</translation>
    </message>
    <message>
        <source>How the daemon fares; the exit code tells it to a script.</source>
        <translation>Как дела у демона; скрипту об этом говорит код завершения.</translation>
    </message>
    <message>
        <source>What the modem, the meters and the daemon do, as it happens.</source>
        <translation>Что делают модем, счётчики и демон, по мере событий.</translation>
    </message>
    <message>
        <source>Has the daemon do something.</source>
        <translation>Даёт демону команду.</translation>
    </message>
    <message>
        <source>%1 cannot be written: %2</source>
        <translation>%1 не записывается: %2</translation>
    </message>
    <message>
        <source>%1 takes no argument.</source>
        <translation>%1 не принимает аргумента.</translation>
    </message>
    <message>
        <source>%1 takes a node&apos;s UIN, 16 hexadecimal digits.</source>
        <translation>%1 принимает UIN узла, 16 шестнадцатеричных цифр.</translation>
    </message>
    <message>
        <source>%1 takes bytes, two hexadecimal digits each, as &quot;61 74 69 0d&quot;.</source>
        <translation>%1 принимает байты, по две шестнадцатеричные цифры, например «61 74 69 0d».</translation>
    </message>
    <message>
        <source>The daemon has no command &quot;%1&quot;; --list tells them.</source>
        <translation>У демона нет команды «%1»; список — --list.</translation>
    </message>
    <message>
        <source>Go on? yes or no</source>
        <translation>Продолжить? да или нет</translation>
    </message>
    <message>
        <source>no</source>
        <translation>нет</translation>
    </message>
    <message>
        <source>yes</source>
        <translation>да</translation>
    </message>
    <message>
        <source>Sent; the daemon does not answer to it.</source>
        <translation>Отправлено; демон на это не отвечает.</translation>
    </message>
    <message>
        <source>Has the daemon do something, through the hub. --list tells the commands that there are.
Exit code: 0 it was sent, or answered; 1 the hub or the daemon is away, or does not answer; 2 wrong
usage, or not confirmed.</source>
        <translation>Даёт демону команду через хаб. --list показывает, какие команды есть.
Код завершения: 0 отправлена или отвечена; 1 хаба или демона нет, или ответа нет; 2 неверная
командная строка или нет подтверждения.</translation>
    </message>
    <message>
        <source>Tells the commands, what they take and what they do.</source>
        <translation>Показывает команды, их аргументы и действие.</translation>
    </message>
    <message>
        <source>Does not ask before something is stopped or reset.</source>
        <translation>Не спрашивает перед остановкой или сбросом.</translation>
    </message>
    <message>
        <source>Tells the answer as one JSON object on stdout.</source>
        <translation>Выводит ответ одним объектом JSON.</translation>
    </message>
    <message>
        <source>The name of a command is missing; --list tells them.</source>
        <translation>Не хватает названия команды; список — --list.</translation>
    </message>
    <message>
        <source>The same as --format json.</source>
        <translation>То же, что --format json.</translation>
    </message>
    <message>
        <source>unknown</source>
        <translation>неизвестно</translation>
    </message>
    <message>
        <source>connected since %1, last heard of %2</source>
        <translation>подключён с %1, последнее сообщение %2</translation>
    </message>
    <message>
        <source>not connected since %1</source>
        <translation>не подключён с %1</translation>
    </message>
    <message>
        <source>working</source>
        <translation>работает</translation>
    </message>
    <message>
        <source>deaf since %1</source>
        <translation>не отвечает с %1</translation>
    </message>
    <message>
        <source>not known whether it works</source>
        <translation>неизвестно, работает ли</translation>
    </message>
    <message>
        <source>%1, can be read</source>
        <translation>%1, читается</translation>
    </message>
    <message>
        <source>%1, cannot be read: %2</source>
        <translation>%1, не читается: %2</translation>
    </message>
    <message>
        <source>none is known</source>
        <translation>неизвестен</translation>
    </message>
    <message>
        <source>%1, %2 of %3 meters read</source>
        <translation>%1, прочитано счётчиков: %2 из %3</translation>
    </message>
    <message>
        <source>, in %1 s</source>
        <translation>, за %1 с</translation>
    </message>
    <message>
        <source>%1, %2: all is well</source>
        <translation>%1, %2: всё в порядке</translation>
    </message>
    <message>
        <source>%1, %2: not all is well</source>
        <translation>%1, %2: не всё в порядке</translation>
    </message>
    <message>
        <source>daemon</source>
        <translation>демон</translation>
    </message>
    <message>
        <source>modem</source>
        <translation>модем</translation>
    </message>
    <message>
        <source>database</source>
        <translation>база данных</translation>
    </message>
    <message>
        <source>last sweep</source>
        <translation>последний опрос</translation>
    </message>
    <message>
        <source>next sweep</source>
        <translation>следующий опрос</translation>
    </message>
    <message>
        <source>%1, of the clocks %2</source>
        <translation>%1, часов %2</translation>
    </message>
    <message>
        <source>today</source>
        <translation>сегодня</translation>
    </message>
    <message>
        <source>open incidents</source>
        <translation>открытых происшествий</translation>
    </message>
    <message>
        <source>connected</source>
        <translation>подключён</translation>
    </message>
    <message>
        <source>not connected</source>
        <translation>не подключён</translation>
    </message>
    <message>
        <source>Asks the hub how its daemons fare, and says in words what is not well.
Exit code: 0 daemon, modem and database work and the last due sweep was made, 3 something is not
well, 1 the hub cannot be asked, 2 wrong usage.</source>
        <translation>Спрашивает хаб, как дела у его демонов, и словами говорит, что не в порядке.
Код завершения: 0 демон, модем и база данных работают и последний назначенный опрос проведён, 3 что-то
не в порядке, 1 хаб нельзя спросить, 2 неверная командная строка.</translation>
    </message>
    <message>
        <source>The hub answers again.</source>
        <translation>Хаб снова отвечает.</translation>
    </message>
    <message>
        <source>It is tried again every second.</source>
        <translation>Попытки повторяются каждую секунду.</translation>
    </message>
    <message>
        <source>The recording ends here.</source>
        <translation>Запись на этом кончается.</translation>
    </message>
    <message>
        <source>Shows as it happens what the hub sees: the modem&apos;s traffic with what the meters answer, what the daemon
does, sweeps, incidents, alarms. Goes on when the hub or the daemon was away. Ends with Ctrl-C.
Exit code: 0 it was ended, 1 the hub cannot be asked, 2 wrong usage.</source>
        <translation>Показывает по мере событий, что видит хаб: обмен с модемом и ответы счётчиков, действия демона,
опросы, происшествия, тревоги. Продолжает, когда хаб или демон пропадали. Завершается по Ctrl-C.
Код завершения: 0 завершён пользователем, 1 хаб нельзя спросить, 2 неверная командная строка.</translation>
    </message>
    <message>
        <source>kinds</source>
        <translation>виды</translation>
    </message>
    <message>
        <source>Only these, with commas between them: traffic, log, sweep, incident, alarm, link, command.</source>
        <translation>Только эти, через запятую: traffic, log, sweep, incident, alarm, link, command.</translation>
    </message>
    <message>
        <source>Writes what the modem sends into this new file, too; ravelin-sim --replay plays it.</source>
        <translation>Записывает то, что передаёт модем, и в этот новый файл; ravelin-sim --replay воспроизводит его.</translation>
    </message>
    <message>
        <source>Tells each event as a JSON object in a line of its own.</source>
        <translation>Выводит каждое событие объектом JSON в отдельной строке.</translation>
    </message>
    <message>
        <source>events are missing here: more happened meanwhile than the hub keeps</source>
        <translation>здесь не хватает событий: за это время произошло больше, чем хранит хаб</translation>
    </message>
    <message>
        <source>%1 can stop or reset something: --yes confirms it.</source>
        <translation>%1 может что-то остановить или сбросить: --yes подтверждает.</translation>
    </message>
</context>
<context>
    <name>register</name>
    <message>
        <source>first</source>
        <translation>первая</translation>
    </message>
    <message>
        <source>second</source>
        <translation>вторая</translation>
    </message>
    <message>
        <source>third</source>
        <translation>третья</translation>
    </message>
    <message>
        <source>fourth</source>
        <translation>четвёртая</translation>
    </message>
    <message>
        <source>fifth</source>
        <translation>пятая</translation>
    </message>
    <message>
        <source>sixth</source>
        <translation>шестая</translation>
    </message>
    <message>
        <source>seventh</source>
        <translation>седьмая</translation>
    </message>
    <message>
        <source>eighth</source>
        <translation>восьмая</translation>
    </message>
    <message>
        <source>ninth</source>
        <translation>девятая</translation>
    </message>
    <message>
        <source>tenth</source>
        <translation>десятая</translation>
    </message>
    <message>
        <source>eleventh</source>
        <translation>одиннадцатая</translation>
    </message>
    <message>
        <source>twelfth</source>
        <translation>двенадцатая</translation>
    </message>
    <message>
        <source>thirteenth</source>
        <translation>тринадцатая</translation>
    </message>
    <message>
        <source>fourteenth</source>
        <translation>четырнадцатая</translation>
    </message>
    <message>
        <source>fifteenth</source>
        <translation>пятнадцатая</translation>
    </message>
    <message>
        <source>sixteenth</source>
        <translation>шестнадцатая</translation>
    </message>
    <message>
        <source>; the %1 letter is Cyrillic</source>
        <translation>; %1 буква — кириллица</translation>
    </message>
    <message>
        <source>; Cyrillic letters: %1</source>
        <translation>; буквы кириллицы: %1</translation>
    </message>
    <message>
        <source> or </source>
        <translation> или </translation>
    </message>
    <message>
        <source>%1: %2, not &quot;%3&quot;</source>
        <translation>%1: %2, а не «%3»</translation>
    </message>
    <message>
        <source>global_id must be a whole number from 1 to 2147483647</source>
        <translation>global_id должен быть целым числом от 1 до 2147483647</translation>
    </message>
    <message>
        <source>the UIN of a node must be 16 digits 0-9 A-F</source>
        <translation>UIN узла должен состоять из 16 цифр 0-9 A-F</translation>
    </message>
    <message>
        <source>the UIN must be that of a node</source>
        <translation>UIN должен быть адресом узла</translation>
    </message>
    <message>
        <source>the UIN of a substation meter may be any name</source>
        <translation>UIN счётчика подстанции может быть любым именем</translation>
    </message>
    <message>
        <source>Model must be %1</source>
        <translation>Model должен быть %1</translation>
    </message>
    <message>
        <source>Type must be 0 (behind a node) or 1 (substation meter)</source>
        <translation>Type должен быть 0 (за узлом) или 1 (счётчик подстанции)</translation>
    </message>
    <message>
        <source>the Number of a %1 must be a whole number from 0 to 2147483647</source>
        <translation>Number для %1 должен быть целым числом от 0 до 2147483647</translation>
    </message>
    <message>
        <source>the Number must have all its digits (in the spreadsheet, make the column text)</source>
        <translation>Number должен быть со всеми цифрами (сделайте столбец в таблице текстовым)</translation>
    </message>
    <message>
        <source>KI_Number must be of Latin letters, digits and signs (Latin-1)</source>
        <translation>KI_Number должен быть из латинских букв, цифр и знаков (Latin-1)</translation>
    </message>
    <message>
        <source>%1: %2, as in %3</source>
        <translation>%1: %2, как и в %3</translation>
    </message>
    <message>
        <source>global_id is &quot;%1&quot;</source>
        <translation>global_id — «%1»</translation>
    </message>
    <message>
        <source>the UIN is &quot;%1&quot;</source>
        <translation>UIN — «%1»</translation>
    </message>
    <message>
        <source>this is a substation meter</source>
        <translation>это счётчик подстанции</translation>
    </message>
    <message>
        <source>meters behind nodes: %1, substation meters: %2</source>
        <translation>счётчиков за узлами: %1, счётчиков подстанции: %2</translation>
    </message>
    <message>
        <source>%1, line %2</source>
        <translation>%1, строка %2</translation>
    </message>
    <message>
        <source>this is not UTF-8 text; have the spreadsheet save it as &quot;CSV UTF-8&quot;</source>
        <translation>это не текст UTF-8; сохраните таблицу как «CSV UTF-8»</translation>
    </message>
    <message>
        <source>a quote is not closed</source>
        <translation>кавычка не закрыта</translation>
    </message>
    <message>
        <source>there is no column &quot;%1&quot; in a register</source>
        <translation>в реестре нет столбца «%1»</translation>
    </message>
    <message>
        <source>the column &quot;%1&quot; is there twice</source>
        <translation>столбец «%1» есть дважды</translation>
    </message>
    <message>
        <source>the column &quot;%1&quot; is missing</source>
        <translation>нет столбца «%1»</translation>
    </message>
    <message>
        <source>there are %1 values under %2 columns</source>
        <translation>значений %1, а столбцов %2</translation>
    </message>
    <message>
        <source>%1: there is no header with the names of the columns</source>
        <translation>%1: нет заголовка с именами столбцов</translation>
    </message>
    <message>
        <source>this is not a regular file</source>
        <translation>это не обычный файл</translation>
    </message>
    <message>
        <source>this is larger than a register can be</source>
        <translation>для реестра файл слишком велик</translation>
    </message>
    <message>
        <source>this cannot be read to its end</source>
        <translation>файл нельзя прочитать до конца</translation>
    </message>
    <message>
        <source>%1, global_id %2</source>
        <translation>%1, global_id %2</translation>
    </message>
    <message>
        <source>the Model of a substation meter must be %1</source>
        <translation>Model счётчика подстанции должен быть %1</translation>
    </message>
</context>
<context>
    <name>site</name>
    <message>
        <source>database %1</source>
        <translation>база данных %1</translation>
    </message>
    <message>
        <source>database %1 on %2</source>
        <translation>база данных %1 на %2</translation>
    </message>
    <message>
        <source>its driver is not installed; it is in the package %1</source>
        <translation>её драйвер не установлен; он в пакете %1</translation>
    </message>
    <message>
        <source>it does not exist; &quot;ravelinctl register init&quot; makes it</source>
        <translation>её нет; её создаёт «ravelinctl register init»</translation>
    </message>
    <message>
        <source>BDType must be sqlite3 or postgres, not &quot;%1&quot;</source>
        <translation>BDType должен быть sqlite3 или postgres, а не «%1»</translation>
    </message>
    <message>
        <source>A centre is named by words such as host=... dbname=..., without an address and without a semicolon; a password is best in a file: passfile=...</source>
        <translation>Центр указывается словами вида host=... dbname=..., без адреса и без точки с запятой; пароль лучше держать в файле: passfile=...</translation>
    </message>
    <message>
        <source>controller %1 at the centre</source>
        <translation>контроллер %1 в центре</translation>
    </message>
    <message>
        <source>a controller is chosen at a centre, which is a PostgreSQL database</source>
        <translation>контроллер выбирают в центре, а это база данных PostgreSQL</translation>
    </message>
    <message>
        <source>there is no such controller</source>
        <translation>такого контроллера нет</translation>
    </message>
</context>
<context>
    <name>traffic</name>
    <message>
        <source>%1 kWh</source>
        <translation>%1 кВт·ч</translation>
    </message>
    <message>
        <source>%1 kWh (tariffs %2, %3, %4, %5)</source>
        <translation>%1 кВт·ч (тарифы %2, %3, %4, %5)</translation>
    </message>
    <message>
        <source>its clock shows no date and time that exist</source>
        <translation>его часы показывают несуществующие дату и время</translation>
    </message>
    <message>
        <source>its clock shows %1</source>
        <translation>его часы показывают %1</translation>
    </message>
    <message>
        <source>%1, but damaged: %2</source>
        <translation>%1, но повреждено: %2</translation>
    </message>
    <message>
        <source>energy</source>
        <translation>энергия</translation>
    </message>
    <message>
        <source>clock</source>
        <translation>часы</translation>
    </message>
    <message>
        <source>neither energy nor clock, or damaged: %1</source>
        <translation>ни энергия, ни часы, или повреждено: %1</translation>
    </message>
    <message>
        <source>checksum wrong</source>
        <translation>неверная контрольная сумма</translation>
    </message>
    <message>
        <source>bytes: %1</source>
        <translation>байт: %1</translation>
    </message>
    <message>
        <source>the meter&apos;s case was opened</source>
        <translation>вскрыт корпус счётчика</translation>
    </message>
    <message>
        <source>an empty frame</source>
        <translation>пустой кадр</translation>
    </message>
    <message>
        <source>a frame of a node without a known meter, %1</source>
        <translation>кадр узла без известного счётчика, %1</translation>
    </message>
    <message>
        <source>the substation meter did not answer</source>
        <translation>счётчик подстанции не ответил</translation>
    </message>
    <message>
        <source>a substation meter of no known model, %1</source>
        <translation>счётчик подстанции неизвестной модели, %1</translation>
    </message>
    <message>
        <source>not a whole answer: %1</source>
        <translation>неполный ответ: %1</translation>
    </message>
    <message>
        <source>message %1 was delivered</source>
        <translation>сообщение %1 доставлено</translation>
    </message>
    <message>
        <source>message %1 was not delivered</source>
        <translation>сообщение %1 не доставлено</translation>
    </message>
    <message>
        <source>the modem has taken message %1</source>
        <translation>модем принял сообщение %1</translation>
    </message>
    <message>
        <source>the modem refuses, error %1</source>
        <translation>модем отказывает, ошибка %1</translation>
    </message>
    <message>
        <source>a node that passes messages on (FFD) is there</source>
        <translation>есть узел, передающий сообщения дальше (FFD)</translation>
    </message>
    <message>
        <source>the network&apos;s coordinator (COO) is there</source>
        <translation>есть координатор сети (COO)</translation>
    </message>
    <message>
        <source>a sleeping node (SED) is there</source>
        <translation>есть спящий узел (SED)</translation>
    </message>
    <message>
        <source>a node has come into the network</source>
        <translation>в сеть вошёл узел</translation>
    </message>
    <message>
        <source>a piece; too much came without the end of an answer, it is dropped, %1</source>
        <translation>часть; слишком много пришло без конца ответа, это отброшено, %1</translation>
    </message>
    <message>
        <source>a piece of an answer that goes on, %1</source>
        <translation>часть ответа, который продолжается, %1</translation>
    </message>
    <message>
        <source>outside of any frame, %1</source>
        <translation>вне кадров, %1</translation>
    </message>
    <message>
        <source>the modem says &quot;%1&quot;</source>
        <translation>модем сообщает «%1»</translation>
    </message>
    <message>
        <source>to all: %1</source>
        <translation>всем: %1</translation>
    </message>
    <message>
        <source>a message that was cut or changed on its way, %1</source>
        <translation>сообщение, обрезанное или искажённое в пути, %1</translation>
    </message>
</context>
</TS>
