// Column names and enumerated texts of the content store's preview tables.
// Every key of the preview model and every member name of a preview document is one of
// these texts, so they must match the store's columns exactly.
#pragma once

namespace TilesModel {

namespace Accelerators {
inline constexpr const char* CONTENT_URI = "content://org.orvik.pelmo/accelerators";
inline constexpr const char* _ID = "_id";
inline constexpr const char* ACCELERATOR_TITLE = "accelerator_title";
inline constexpr const char* ACCELERATOR_ICON = "accelerator_icon";
inline constexpr const char* ACCELERATOR_ICON_UNFOCUSED = "accelerator_icon_unfocused";
inline constexpr const char* ACCELERATOR_ENABLED = "accelerator_enabled";
inline constexpr const char* ACCELERATOR_ID = "accelerator_id";
inline constexpr const char* ACCELERATOR_POSITION = "accelerator_position";
}  // namespace Accelerators

namespace Sections {
inline constexpr const char* CONTENT_URI = "content://org.orvik.pelmo/sections";
inline constexpr const char* _ID = "_id";
inline constexpr const char* SECTION_ID = "section_id";
inline constexpr const char* SECTION_TITLE = "section_title";
inline constexpr const char* SECTION_POSITION = "section_position";
inline constexpr const char* SECTION_ACCELERATOR_RAW_ID = "section_accelerator_raw_id";
inline constexpr const char* SECTION_TITLE_DISPLAY_MODE = "section_title_display_mode";
inline constexpr const char* SECTION_SUBTITLE_DISPLAY_MODE = "section_subtitle_display_mode";
inline constexpr const char* SECTION_EXTRA = "section_extra";

namespace SectionTitleDisplayMode {
inline constexpr const char* SECTION_TITLE_DISPLAY_MODE_ALWAYS = "always";
inline constexpr const char* SECTION_TITLE_DISPLAY_MODE_NEVER = "never";
inline constexpr const char* SECTION_TITLE_DISPLAY_MODE_HIGHLIGHTED_ONLY = "highlighted_only";
}  // namespace SectionTitleDisplayMode
}  // namespace Sections

namespace Tiles {
inline constexpr const char* CONTENT_URI = "content://org.orvik.pelmo/tiles";
inline constexpr const char* _ID = "_id";
inline constexpr const char* TILE_ID = "tile_id";
inline constexpr const char* TILE_SECTION_RAW_ID = "tile_section_raw_id";
inline constexpr const char* TILE_TYPE = "tile_type";
inline constexpr const char* TILE_TITLE = "tile_title";
inline constexpr const char* TILE_SUBTITLE = "tile_subtitle";
inline constexpr const char* TILE_DISPLAY_FROM = "tile_display_from";
inline constexpr const char* TILE_DISPLAY_UNTIL = "tile_display_until";
inline constexpr const char* TILE_ACTION_PLAY = "tile_action_play";
inline constexpr const char* TILE_ACTION_CLICK = "tile_action_click";
inline constexpr const char* TILE_ACTION_TYPE = "tile_action_type";
inline constexpr const char* TILE_ACTION_DETAILS = "tile_action_details";
inline constexpr const char* TILE_IMAGE_URL = "tile_image_url";
inline constexpr const char* TILE_IMAGE_PATH = "tile_image_path";
inline constexpr const char* TILE_IMAGE_WIDTH = "tile_image_width";
inline constexpr const char* TILE_IMAGE_HEIGHT = "tile_image_height";
inline constexpr const char* TILE_IMAGE_RATIO = "tile_image_ratio";
inline constexpr const char* TILE_SOURCE_ICON = "tile_source_icon";
inline constexpr const char* TILE_SOURCE_ICON_PATH = "tile_source_icon_path";
inline constexpr const char* TILE_ACTION_PRE_PLAY = "tile_action_pre_play";
inline constexpr const char* TILE_ACTION_POST_PLAY = "tile_action_post_play";
inline constexpr const char* TILE_EXTRA_APP_ID = "tile_extra_app_id";
inline constexpr const char* TILE_PLAYABLE = "tile_playable";
inline constexpr const char* TILE_POSITION = "tile_position";
inline constexpr const char* TILE_PROGRESS = "tile_progress";
inline constexpr const char* TILE_NOTIFICATION = "tile_notification";
inline constexpr const char* TILE_FAVORITE = "tile_favorite";
inline constexpr const char* TILE_EXTRA = "tile_extra";

namespace TileActionTypes {
inline constexpr const char* TILE_ACTION_APP_LAUNCH = "app_launch";
inline constexpr const char* TILE_ACTION_WAS_LAUNCH = "web_app_launch";
}  // namespace TileActionTypes
}  // namespace Tiles

}  // namespace TilesModel

// Columns of the accelerator table that only platform components write.
namespace TilesInternalModel {
namespace Accelerators {
inline constexpr const char* ACCELERATOR_APP_PKG_NAME = "app_pkg_name";
inline constexpr const char* ACCELERATOR_WAS_WEB_APP_ID = "was_web_app_id";
inline constexpr const char* ACCELERATOR_POSITION = TilesModel::Accelerators::ACCELERATOR_POSITION;
}  // namespace Accelerators
}  // namespace TilesInternalModel
