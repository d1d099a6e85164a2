-- From schema version 1 to 2. `wpctl db upgrade` runs it in one transaction with the database's new comment.

-- The row of a file.
CREATE INDEX event_camera_path ON event (camera_id, path);
