-- The centre of many controllers on PostgreSQL 15. `ravelinctl fleet init` runs all of it, in one transaction, as the role
-- that is to own it. Each controller has a login role of its own name and sees its own rows alone.
--
-- The tables are in the schema fleet. What controllers see is in public, in the daemon's names and spellings, so that a
-- daemon works on these views as on tables of its own.

CREATE SCHEMA fleet;

-- One row: what programs have to know of this schema.
CREATE TABLE fleet.info (
    is_row boolean PRIMARY KEY DEFAULT true CHECK (is_row),
    version integer NOT NULL,
    kept_since date NOT NULL                -- older rows are not wanted: their months were never made, or were dropped
);

CREATE TABLE fleet.controllers (
    controller text COLLATE "C" PRIMARY KEY, -- the name of its role, too
    register_version bigint NOT NULL DEFAULT 0, -- rises with each change of its register
    added timestamptz NOT NULL DEFAULT now(),
    removed timestamptz                     -- since then it has no role; its rows stay
);

CREATE TABLE fleet.meters (
    controller text COLLATE "C" NOT NULL DEFAULT session_user,
    global_id integer NOT NULL,
    "UIN" text NOT NULL,
    "Number" text NOT NULL DEFAULT '',
    "Model" text NOT NULL,
    "Type" integer NOT NULL,
    "KI_Number" text NOT NULL DEFAULT '',
    PRIMARY KEY (controller, global_id)
);

CREATE INDEX meters_uin ON fleet.meters (controller, "UIN");

-- The widest columns first, so that no room is lost between them.
CREATE TABLE fleet.readings (
    time_r time(0) NOT NULL,                -- the sweep's date and time
    date_r date NOT NULL,
    global_id integer NOT NULL,
    pwr real NOT NULL,                      -- kWh: all tariffs, then tariffs 1 to 4
    pwr1 real NOT NULL,
    pwr2 real NOT NULL,
    pwr3 real NOT NULL,
    pwr4 real NOT NULL,
    status smallint NOT NULL,               -- 0: a reading; 1, 2, 3, 255: none, and why
    controller text COLLATE "C" NOT NULL DEFAULT session_user
) PARTITION BY RANGE (date_r);

-- All rows of a sweep have one key, which is then stored once.
CREATE INDEX readings_sweep ON fleet.readings (controller, date_r, time_r);

CREATE TABLE fleet.clock_readings (
    controller text COLLATE "C" NOT NULL DEFAULT session_user,
    uin text COLLATE "C" NOT NULL,
    date_c text NOT NULL,                   -- what the meter's clock showed, which need not be a time
    time_c text NOT NULL,
    date_r date NOT NULL,                   -- when it was asked
    time_r text NOT NULL
) PARTITION BY RANGE (date_r);

CREATE INDEX clock_readings_day ON fleet.clock_readings (controller, date_r);

-- How far each source file was delivered. Written in the transaction of the rows.
CREATE TABLE fleet.marks (
    controller text COLLATE "C" NOT NULL DEFAULT session_user,
    source uuid NOT NULL,                   -- the file; an emptied or replaced one is another source
    kind text NOT NULL CHECK (kind IN ('readings', 'clocks')),
    last_row bigint NOT NULL,               -- up to this number all rows are here, or are dead letters
    last_digest bigint NOT NULL,            -- of that row: tells whether the file is still the same
    newest_row bigint,                      -- the newest in the file at seen_at
    delivered_at timestamptz,
    seen_at timestamptz,
    PRIMARY KEY (controller, source, kind)
);

-- Rows that the tables refuse.
CREATE TABLE fleet.dead_letters (
    controller text COLLATE "C" NOT NULL DEFAULT session_user,
    source uuid NOT NULL,
    kind text NOT NULL CHECK (kind IN ('readings', 'clocks')),
    source_row bigint NOT NULL,
    sqlstate text NOT NULL,
    reason text NOT NULL,
    content text NOT NULL,                  -- the row
    at timestamptz NOT NULL DEFAULT now(),
    PRIMARY KEY (controller, source, kind, source_row)
);

-- A changed register has a higher version, whoever changed it.
CREATE FUNCTION fleet.raise_register_version() RETURNS trigger
    LANGUAGE plpgsql SECURITY DEFINER SET search_path = pg_catalog, pg_temp AS $$
BEGIN
    UPDATE fleet.controllers SET register_version = register_version + 1
        WHERE controller IN (SELECT DISTINCT changed.controller FROM changed);
    RETURN NULL;
END $$;

CREATE TRIGGER register_grew AFTER INSERT ON fleet.meters REFERENCING NEW TABLE AS changed
    FOR EACH STATEMENT EXECUTE FUNCTION fleet.raise_register_version();
CREATE TRIGGER register_changed AFTER UPDATE ON fleet.meters REFERENCING NEW TABLE AS changed
    FOR EACH STATEMENT EXECUTE FUNCTION fleet.raise_register_version();
CREATE TRIGGER register_shrank AFTER DELETE ON fleet.meters REFERENCING OLD TABLE AS changed
    FOR EACH STATEMENT EXECUTE FUNCTION fleet.raise_register_version();

-- The views. Without security_barrier a function in a controller's question would be shown foreign rows before the view
-- drops them. session_user, since a role that one changes to must not open other rows.

CREATE VIEW public."Counters" WITH (security_barrier) AS
    SELECT global_id, "UIN", "Number", "Model", "Type", "KI_Number" FROM fleet.meters
    WHERE controller = session_user WITH CHECK OPTION;

CREATE VIEW public.main_data WITH (security_barrier) AS
    SELECT global_id, pwr, pwr1, pwr2, pwr3, pwr4, date_r, time_r, status FROM fleet.readings
    WHERE controller = session_user WITH CHECK OPTION;

-- The daemon writes Main_Data, which PostgreSQL folds to main_data, and asks "Main_Data", which it does not fold.
CREATE VIEW public."Main_Data" WITH (security_barrier) AS SELECT * FROM public.main_data;

CREATE VIEW public.time_table WITH (security_barrier) AS
    SELECT uin, date_c, time_c, date_r, time_r FROM fleet.clock_readings
    WHERE controller = session_user WITH CHECK OPTION;

CREATE VIEW public.forward_marks WITH (security_barrier) AS
    SELECT source, kind, last_row, last_digest, newest_row, delivered_at, seen_at FROM fleet.marks
    WHERE controller = session_user WITH CHECK OPTION;

CREATE VIEW public.dead_letters WITH (security_barrier) AS
    SELECT source, kind, source_row, sqlstate, reason, content, at FROM fleet.dead_letters
    WHERE controller = session_user WITH CHECK OPTION;

CREATE VIEW public.fleet_self WITH (security_barrier) AS
    SELECT controller, register_version FROM fleet.controllers WHERE controller = session_user AND removed IS NULL;

CREATE VIEW public.fleet_schema AS SELECT version, kept_since FROM fleet.info;

-- The rights of all controllers. The group is one for all databases of the server.
DO $$ BEGIN
    IF NOT EXISTS (SELECT FROM pg_roles WHERE rolname = 'ravelin_controllers') THEN
        CREATE ROLE ravelin_controllers NOLOGIN;
    END IF;
END $$;

GRANT USAGE ON SCHEMA public, fleet TO ravelin_controllers;
GRANT SELECT, INSERT, UPDATE, DELETE ON public."Counters" TO ravelin_controllers;
GRANT SELECT, INSERT ON public.main_data, public."Main_Data", public.time_table, public.dead_letters
    TO ravelin_controllers;
GRANT SELECT, INSERT, UPDATE ON public.forward_marks TO ravelin_controllers;
GRANT SELECT ON public.fleet_self, public.fleet_schema TO ravelin_controllers;

-- COPY takes no view. All columns but controller: that one is filled in, and nobody can name another's.
GRANT INSERT (global_id, pwr, pwr1, pwr2, pwr3, pwr4, date_r, time_r, status) ON fleet.readings TO ravelin_controllers;
GRANT INSERT (uin, date_c, time_c, date_r, time_r) ON fleet.clock_readings TO ravelin_controllers;
