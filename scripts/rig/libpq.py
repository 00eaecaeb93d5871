"""As much of PostgreSQL's own library as a play with a thousand connections needs: psql would be a process for each."""

import ctypes

_LIBRARY = ctypes.CDLL("libpq.so.5")
COMMAND_OK, TUPLES_OK, COPY_IN = 1, 2, 4


def _declare(name, result, *arguments):
    function = getattr(_LIBRARY, name)
    function.restype, function.argtypes = result, arguments
    return function


_connect = _declare("PQconnectdb", ctypes.c_void_p, ctypes.c_char_p)
_status = _declare("PQstatus", ctypes.c_int, ctypes.c_void_p)
_error = _declare("PQerrorMessage", ctypes.c_char_p, ctypes.c_void_p)
_exec = _declare("PQexec", ctypes.c_void_p, ctypes.c_void_p, ctypes.c_char_p)
_result_status = _declare("PQresultStatus", ctypes.c_int, ctypes.c_void_p)
_tag = _declare("PQcmdStatus", ctypes.c_char_p, ctypes.c_void_p)
_rows = _declare("PQntuples", ctypes.c_int, ctypes.c_void_p)
_columns = _declare("PQnfields", ctypes.c_int, ctypes.c_void_p)
_value = _declare("PQgetvalue", ctypes.c_char_p, ctypes.c_void_p, ctypes.c_int, ctypes.c_int)
_clear = _declare("PQclear", None, ctypes.c_void_p)
_put_data = _declare("PQputCopyData", ctypes.c_int, ctypes.c_void_p, ctypes.c_char_p, ctypes.c_int)
_put_end = _declare("PQputCopyEnd", ctypes.c_int, ctypes.c_void_p, ctypes.c_char_p)
_get_result = _declare("PQgetResult", ctypes.c_void_p, ctypes.c_void_p)
_finish = _declare("PQfinish", None, ctypes.c_void_p)


class Connection:
    """Of one thread at a time. Whatever the server refuses is a RuntimeError."""

    def __init__(self, conninfo):
        self.connection = _connect(conninfo.encode())
        if _status(self.connection) != 0:
            self._fail()

    def _fail(self):
        raise RuntimeError(_error(self.connection).decode(errors="replace").strip())

    def _take(self, result, expected):
        status, tag = _result_status(result), _tag(result).decode()
        rows = [[_value(result, row, column).decode() for column in range(_columns(result))]
                for row in range(_rows(result))] if status == TUPLES_OK else []
        _clear(result)
        if status not in expected:
            self._fail()
        return tag, rows

    def run(self, statements):
        """The tag of the last statement, and its rows."""
        return self._take(_exec(self.connection, statements.encode()), (COMMAND_OK, TUPLES_OK))

    def copy(self, statement, data):
        """How many rows were taken: the tag."""
        self._take(_exec(self.connection, statement.encode()), (COPY_IN,))
        if _put_data(self.connection, data, len(data)) != 1 or _put_end(self.connection, None) != 1:
            self._fail()
        tag, _ = self._take(_get_result(self.connection), (COMMAND_OK,))
        _get_result(self.connection)  # the end of the results
        return tag

    def close(self):
        _finish(self.connection)
        self.connection = None
