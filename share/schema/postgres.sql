-- The daemon's database on PostgreSQL. `ravelinctl register init` runs each statement whose object is not there yet.
-- Dates are text yyyy-MM-dd, times are text hh:mm:ss; collation "C" orders them byte by byte whatever the locale.

-- The register: which meter is where.
CREATE TABLE "Counters" (
    global_id integer PRIMARY KEY,
    "UIN" text NOT NULL,                    -- radio address of the node; any name for the substation meter
    "Number" text NOT NULL DEFAULT '',      -- the meter's own number
    "Model" text NOT NULL,                  -- CE102, CE301, SET1 or SET3
    "Type" integer NOT NULL,                -- 0: behind a radio node, 1: the substation meter
    "KI_Number" text NOT NULL DEFAULT ''    -- a second number, told to the node
);

-- Not unique: while a register is rewritten two meters may swap their nodes.
CREATE INDEX counters_uin ON "Counters" ("UIN");

-- One row per meter and sweep, and one more where an answer came after the sweep had been closed.
CREATE TABLE main_data (
    global_id integer NOT NULL,
    pwr double precision NOT NULL,          -- kWh: all tariffs, then tariffs 1 to 4
    pwr1 double precision NOT NULL,
    pwr2 double precision NOT NULL,
    pwr3 double precision NOT NULL,
    pwr4 double precision NOT NULL,
    date_r text COLLATE "C" NOT NULL,       -- the sweep's date and time
    time_r text COLLATE "C" NOT NULL,
    status smallint NOT NULL                -- 0: a reading; 1, 2, 3, 255: none, and why
);

-- Every question is about one sweep.
CREATE INDEX main_data_sweep ON main_data (date_r, time_r, global_id);

-- The daemon writes Main_Data, which PostgreSQL folds to main_data, and asks "Main_Data", which it does not fold.
CREATE VIEW "Main_Data" AS SELECT * FROM main_data;

-- Clock readings, none or several a day and meter.
CREATE TABLE time_table (
    uin text COLLATE "C" NOT NULL,
    date_c text NOT NULL,                   -- what the meter's clock showed
    time_c text NOT NULL,
    date_r text COLLATE "C" NOT NULL,       -- when it was asked
    time_r text NOT NULL
);

-- Every question is about one day or the days since.
CREATE INDEX time_table_day ON time_table (date_r);
