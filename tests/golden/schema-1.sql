-- Tables of the database "surveillance", schema version 1.
--
-- `wpctl db init` makes the database (encoding SQL_ASCII, locale C: texts are byte strings, cut at byte lengths) and
-- runs this file in one transaction. There are no foreign keys and no NOT NULL beyond the keys: recordings and regions
-- may outlive or precede their camera's row, and the temporary camera record has id 0.

CREATE TABLE camera (
    id                 serial PRIMARY KEY,
    type               integer,
    vendor             text,
    model              text,
    name               text,
    hostname           text,
    port               integer,
    path               text,     -- of the stream, without its leading slash
    username           text,
    password           text,
    fps                integer,
    image_width        integer,  -- pixels
    image_height       integer,
    recording_path     text,     -- folder of the camera's recordings
    recording_prefix   text,     -- of their file names
    recording_capacity integer,  -- MiB
    recording_days     integer,
    enable_capacity    boolean,
    enable_days        boolean,
    motion_sensitivity integer,  -- 0 to 100
    enable_motionlog   boolean,
    schedule           text      -- 168 digits, hour by hour from Sunday 0:00
);

CREATE TABLE motion (
    camera_id integer,
    name      text,
    top       integer,  -- edges in pixels of the camera's picture
    bottom    integer,
    m_left    integer,
    m_right   integer
);
CREATE INDEX motion_camera ON motion (camera_id);

CREATE TABLE notification (
    type         integer,  -- 0 no mail, 1 the appliance's settings, 2 the ones below
    server       text,
    port         integer,
    needauth     boolean,
    username     text,
    password     text,
    needssl      boolean,
    sendtestmail boolean,
    email        text,
    email2       text
);

-- Rows of running recordings are rewritten every few seconds: the room left in each page keeps those versions beside
-- their row.
CREATE TABLE event (
    id           serial PRIMARY KEY,
    camera_id    integer,
    video_width  integer,
    video_height integer,
    start_time   bigint,   -- of the first frame, seconds since the epoch
    stop_time    bigint,   -- of the last frame
    framecount   integer,
    cause        integer,  -- 1 continuous, 2 motion
    archived     boolean,
    path         text,     -- file name below the camera's recording_path
    filesize     integer   -- bytes
) WITH (fillfactor = 90);
-- A camera's pages, newest first; its counts by time; its oldest recordings, for rotation.
CREATE INDEX event_camera_start ON event (camera_id, start_time);
-- Pages and counts over all cameras.
CREATE INDEX event_start_stop ON event (start_time, stop_time, cause);
CREATE INDEX event_stop ON event (stop_time);

CREATE TABLE camerastatus (
    cameraid   integer PRIMARY KEY,
    status     integer,  -- 1 starting, 2 running, 3 stopping, 4 stopped
    pid        integer,
    updatetime integer   -- seconds since the epoch
);
