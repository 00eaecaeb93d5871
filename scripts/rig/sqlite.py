"""An SQLite database in a site's directory: the settings that name it, and what is in it, seen from outside. It has the
face of postgres.Postgres."""

import contextlib
import sqlite3


class Sqlite:
    """The file `name` in the site's directory."""

    def __init__(self, name="z.db"):
        self.name = name
        self.keys = "BDType=sqlite3\nBaseName={directory}/" + name

    def __enter__(self):
        return self

    def __exit__(self, *_):
        """It goes with the site's directory."""

    def connect(self, site):
        return contextlib.closing(sqlite3.connect(site.path(self.name), isolation_level=None))

    def rows(self, site, sql):
        with contextlib.closing(sqlite3.connect(f"file:{site.path(self.name)}?mode=ro", uri=True)) as connection:
            return connection.execute(sql).fetchall()

    def sound(self, site):
        return self.rows(site, "PRAGMA integrity_check") == [("ok",)]
