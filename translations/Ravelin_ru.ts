<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="ru" sourcelanguage="en">
<context>
    <name>Ending</name>
    <message>
        <source>Signal %1 received. Stopping application.</source>
        <translation>Получен сигнал %1. Остановка приложения.</translation>
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
    <name>main</name>
    <message>
        <source>Start Ok!</source>
        <translation>Запуск выполнен!</translation>
    </message>
    <message>
        <source>The setting ServerName is missing: there is no bus, and no administrative server is connected</source>
        <translation>Не задана настройка ServerName: шины нет, административный сервер не подключается</translation>
    </message>
</context>
<context>
    <name>openDataBaseBySettings</name>
    <message>
        <source>unknown BDType &quot;%1&quot;</source>
        <translation>неизвестный BDType «%1»</translation>
    </message>
</context>
</TS>
