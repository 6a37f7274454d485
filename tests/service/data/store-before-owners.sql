-- A store database as the service wrote it before schema versions and module owners were kept:
-- two modules registered and published through the library (examples/previews/first.json and
-- small.json), dumped with the sqlite3 shell's .dump.
PRAGMA foreign_keys=OFF;
BEGIN TRANSACTION;
CREATE TABLE IF NOT EXISTS "accelerators" ("_id" INTEGER PRIMARY KEY, "accelerator_title" TEXT, "accelerator_icon" TEXT, "accelerator_icon_unfocused" TEXT, "accelerator_enabled" INTEGER, "accelerator_id" TEXT, "accelerator_position" INTEGER, "app_pkg_name" TEXT, "was_web_app_id" TEXT, "module_name" TEXT NOT NULL);
INSERT INTO accelerators VALUES(1,'Player',NULL,NULL,NULL,NULL,NULL,'org.example.player',NULL,'org.example.player');
INSERT INTO accelerators VALUES(2,'News',NULL,NULL,NULL,NULL,NULL,'org.example.news',NULL,'org.example.news');
CREATE TABLE IF NOT EXISTS "sections" ("_id" INTEGER PRIMARY KEY, "section_id" INTEGER, "section_title" TEXT, "section_position" INTEGER, "section_accelerator_raw_id" INTEGER, "section_title_display_mode" TEXT, "section_subtitle_display_mode" TEXT, "section_extra" TEXT, "module_name" TEXT NOT NULL);
INSERT INTO sections VALUES(1,2,'New this week',1,1,'always','highlighted_only',NULL,'org.example.player');
INSERT INTO sections VALUES(2,1,'Continue watching',0,1,'always','highlighted_only',NULL,'org.example.player');
INSERT INTO sections VALUES(3,3,'Recommended',2,1,'always','highlighted_only',NULL,'org.example.player');
INSERT INTO sections VALUES(4,1,'Continue watching',0,2,'highlighted_only','highlighted_only',NULL,'org.example.news');
CREATE TABLE IF NOT EXISTS "tiles" ("_id" INTEGER PRIMARY KEY, "tile_id" INTEGER, "tile_section_raw_id" INTEGER, "tile_type" TEXT, "tile_title" TEXT, "tile_subtitle" TEXT, "tile_display_from" INTEGER, "tile_display_until" INTEGER, "tile_action_play" TEXT, "tile_action_click" TEXT, "tile_action_type" TEXT, "tile_action_details" TEXT, "tile_image_url" TEXT, "tile_image_path" TEXT, "tile_image_width" INTEGER, "tile_image_height" INTEGER, "tile_image_ratio" TEXT, "tile_source_icon" TEXT, "tile_source_icon_path" TEXT, "tile_action_pre_play" TEXT, "tile_action_post_play" TEXT, "tile_extra_app_id" TEXT, "tile_playable" INTEGER, "tile_position" INTEGER, "tile_progress" INTEGER, "tile_notification" INTEGER, "tile_favorite" INTEGER, "tile_extra" TEXT, "module_name" TEXT NOT NULL);
INSERT INTO tiles VALUES(1,201,1,NULL,'Harbour Lights','Film',1767225600,1893456000,'app://org.example.player/play?id=201',NULL,'app_launch',NULL,'https://images.example.org/201.jpg',NULL,640,360,'16:9',NULL,NULL,replace('{"is_resumable":false,"video_url":""}\n','\n',char(10)),NULL,NULL,1,0,NULL,NULL,NULL,NULL,'org.example.player');
INSERT INTO tiles VALUES(2,202,1,NULL,'Salt and Stone','Documentary',1767225600,1893456000,'app://org.example.player/play?id=202',NULL,'app_launch',NULL,'https://images.example.org/202.jpg',NULL,640,360,'16:9',NULL,NULL,replace('{"is_resumable":false,"video_url":""}\n','\n',char(10)),NULL,NULL,1,1,NULL,NULL,NULL,NULL,'org.example.player');
INSERT INTO tiles VALUES(3,101,2,NULL,'The Lighthouse Keeper','Episode 3',1767225600,1893456000,'app://org.example.player/play?id=101',NULL,'app_launch',NULL,'https://images.example.org/101.jpg',NULL,640,360,'16:9',NULL,NULL,replace('{"is_resumable":false,"resume_position":1234,"video_url":""}\n','\n',char(10)),NULL,NULL,1,0,NULL,NULL,NULL,NULL,'org.example.player');
INSERT INTO tiles VALUES(4,102,2,NULL,'Night Trains','Episode 1',1767225600,1893456000,'app://org.example.player/play?id=102',NULL,'app_launch',NULL,'https://images.example.org/102.jpg',NULL,640,360,'16:9',NULL,NULL,replace('{"is_resumable":false,"video_url":""}\n','\n',char(10)),NULL,NULL,1,1,NULL,NULL,NULL,NULL,'org.example.player');
INSERT INTO tiles VALUES(5,301,3,NULL,'Glass Valley','Series',1767225600,1893456000,'app://org.example.player/play?id=301',NULL,'app_launch',NULL,'https://images.example.org/301.jpg',NULL,640,360,'16:9',NULL,NULL,replace('{"is_resumable":false,"video_url":""}\n','\n',char(10)),NULL,NULL,1,0,NULL,NULL,NULL,NULL,'org.example.player');
INSERT INTO tiles VALUES(6,302,3,NULL,'The Ninth Bridge','Film',1767225600,1893456000,'app://org.example.player/play?id=302',NULL,'app_launch',NULL,'https://images.example.org/302.jpg',NULL,640,360,'16:9',NULL,NULL,replace('{"is_resumable":false,"video_url":""}\n','\n',char(10)),NULL,NULL,1,1,NULL,NULL,NULL,NULL,'org.example.player');
INSERT INTO tiles VALUES(7,303,3,NULL,'Quiet Fields','Documentary',1767225600,1893456000,'app://org.example.player/play?id=303',NULL,'app_launch',NULL,'https://images.example.org/303.jpg',NULL,640,360,'16:9',NULL,NULL,replace('{"is_resumable":false,"video_url":""}\n','\n',char(10)),NULL,NULL,1,2,NULL,NULL,NULL,NULL,'org.example.player');
INSERT INTO tiles VALUES(8,101,4,NULL,'The Lighthouse Keeper','Episode 3',NULL,NULL,'app://org.example.player/play?id=lh3',NULL,'app_launch',NULL,'https://images.example.org/lighthouse-3.jpg',NULL,NULL,NULL,'16:9',NULL,NULL,replace('{"is_resumable":false,"resume_position":1234,"video_url":""}\n','\n',char(10)),NULL,NULL,1,0,1,NULL,NULL,NULL,'org.example.news');
CREATE INDEX "accelerators_module" ON "accelerators" ("module_name");
CREATE INDEX "sections_module" ON "sections" ("module_name");
CREATE INDEX "sections_parent" ON "sections" ("section_accelerator_raw_id", "module_name");
CREATE INDEX "tiles_module" ON "tiles" ("module_name");
CREATE INDEX "tiles_parent" ON "tiles" ("tile_section_raw_id", "module_name");
COMMIT;
