-- A store database as the service wrote it before schema versions and module owners were kept:
-- two modules with accelerator, section and tile rows, dumped with the sqlite3 shell's .dump.
PRAGMA foreign_keys=OFF;
BEGIN TRANSACTION;
CREATE TABLE IF NOT EXISTS "accelerators" ("_id" INTEGER PRIMARY KEY, "accelerator_title" TEXT, "accelerator_icon" TEXT, "accelerator_icon_unfocused" TEXT, "accelerator_enabled" INTEGER, "accelerator_id" TEXT, "accelerator_position" INTEGER, "app_pkg_name" TEXT, "was_web_app_id" TEXT, "module_name" TEXT NOT NULL);
INSERT INTO accelerators VALUES(1,'Player',NULL,NULL,1,'player-main',2,'org.example.player',NULL,'org.example.player');
INSERT INTO accelerators VALUES(2,'News',NULL,NULL,NULL,NULL,NULL,'org.example.news',NULL,'org.example.news');
CREATE TABLE IF NOT EXISTS "sections" ("_id" INTEGER PRIMARY KEY, "section_id" INTEGER, "section_title" TEXT, "section_position" INTEGER, "section_accelerator_raw_id" INTEGER, "section_title_display_mode" TEXT, "section_subtitle_display_mode" TEXT, "section_extra" TEXT, "module_name" TEXT NOT NULL);
INSERT INTO sections VALUES(1,1,'Continue watching',1,1,'always',NULL,NULL,'org.example.player');
INSERT INTO sections VALUES(2,2,'New',2,1,NULL,NULL,NULL,'org.example.player');
INSERT INTO sections VALUES(3,NULL,'Headlines',NULL,2,NULL,NULL,NULL,'org.example.news');
CREATE TABLE IF NOT EXISTS "tiles" ("_id" INTEGER PRIMARY KEY, "tile_id" INTEGER, "tile_section_raw_id" INTEGER, "tile_type" TEXT, "tile_title" TEXT, "tile_subtitle" TEXT, "tile_display_from" INTEGER, "tile_display_until" INTEGER, "tile_action_play" TEXT, "tile_action_click" TEXT, "tile_action_type" TEXT, "tile_action_details" TEXT, "tile_image_url" TEXT, "tile_image_path" TEXT, "tile_image_width" INTEGER, "tile_image_height" INTEGER, "tile_image_ratio" TEXT, "tile_source_icon" TEXT, "tile_source_icon_path" TEXT, "tile_action_pre_play" TEXT, "tile_action_post_play" TEXT, "tile_extra_app_id" TEXT, "tile_playable" INTEGER, "tile_position" INTEGER, "tile_progress" INTEGER, "tile_notification" INTEGER, "tile_favorite" INTEGER, "tile_extra" TEXT, "module_name" TEXT NOT NULL);
INSERT INTO tiles VALUES(1,NULL,1,NULL,'Ep 1','S1',NULL,4102444800,NULL,NULL,NULL,NULL,NULL,NULL,NULL,NULL,'16:9',NULL,NULL,'resumable',NULL,NULL,NULL,1,40,NULL,NULL,NULL,'org.example.player');
INSERT INTO tiles VALUES(2,NULL,1,NULL,'Ep 2',NULL,NULL,NULL,NULL,NULL,NULL,NULL,NULL,NULL,320,NULL,NULL,NULL,NULL,NULL,NULL,NULL,NULL,2,NULL,NULL,NULL,NULL,'org.example.player');
INSERT INTO tiles VALUES(3,NULL,2,NULL,'Trailer',NULL,NULL,NULL,NULL,NULL,NULL,NULL,NULL,NULL,NULL,NULL,NULL,NULL,NULL,NULL,NULL,NULL,1,1,NULL,NULL,NULL,NULL,'org.example.player');
INSERT INTO tiles VALUES(4,42,3,NULL,'Top story',NULL,NULL,NULL,NULL,NULL,NULL,NULL,NULL,NULL,NULL,NULL,NULL,NULL,NULL,NULL,NULL,NULL,NULL,NULL,NULL,NULL,NULL,NULL,'org.example.news');
CREATE INDEX "accelerators_module" ON "accelerators" ("module_name");
CREATE INDEX "sections_module" ON "sections" ("module_name");
CREATE INDEX "sections_parent" ON "sections" ("section_accelerator_raw_id", "module_name");
CREATE INDEX "tiles_module" ON "tiles" ("module_name");
CREATE INDEX "tiles_parent" ON "tiles" ("tile_section_raw_id", "module_name");
COMMIT;
