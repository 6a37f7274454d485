#include "RenderStyle.h"

const char* PreviewPageStyle()
{
    // Cards share one image height, as on the home screen; their width follows the tile's image
    // ratio (set per card). --hue tints each card's empty image box so that placeholders stay
    // apart from each other.
    return R"CSS(
*, *::before, *::after { box-sizing: border-box; }
html, body { margin: 0; padding: 0; }
body {
  background: radial-gradient(ellipse at top left, #1d2533 0%, #0d1017 55%, #07090d 100%) fixed;
  color: #e8ecf3;
  font-family: "DejaVu Sans", "Liberation Sans", Arial, sans-serif;
  min-height: 100vh;
}
.preview-header {
  display: flex; align-items: baseline; gap: 18px; flex-wrap: wrap;
  padding: 24px 48px 4px 48px;
}
.preview-title { font-size: 30px; font-weight: 700; margin: 0; letter-spacing: 0.2px; }
.preview-module { font-size: 14px; color: #8b95a7; margin: 0; font-family: "DejaVu Sans Mono", monospace; }
.preview-counts { font-size: 14px; color: #8b95a7; margin: 0; }
.preview { padding: 0 0 32px 0; }
.preview-empty { padding: 24px 48px; color: #8b95a7; }
.preview-section { padding: 10px 0 2px 0; }
.section-title {
  font-size: 21px; font-weight: 600; margin: 0 48px 8px 48px; color: #f3f5f9;
  white-space: nowrap; overflow: hidden; text-overflow: ellipsis;
}
.section-title.is-highlighted-only { color: #9aa4b5; }
.section-title.is-never { color: #5d6778; font-style: italic; }
.section-title-mode {
  font-size: 11px; font-weight: 400; font-style: normal; color: #6f7a8c; margin-left: 10px;
  border: 1px solid #3a4252; border-radius: 4px; padding: 1px 6px; vertical-align: middle;
}
.tile-row {
  list-style: none; margin: 0; padding: 6px 48px 14px 48px;
  display: flex; flex-direction: row; flex-wrap: nowrap; gap: 18px;
  overflow-x: auto; overflow-y: hidden; align-items: flex-start;
}
.tile-row-empty { margin: 0 48px; color: #6f7a8c; font-size: 14px; }
.tile {
  flex: none; display: flex; flex-direction: column;
  background: #171b23; border-radius: 10px; overflow: hidden;
  box-shadow: 0 6px 18px rgba(0, 0, 0, 0.45);
  border: 1px solid #242a35;
}
.tile.is-focused { outline: 3px solid #f3f5f9; outline-offset: 2px; }
.tile-image {
  position: relative; width: 100%; height: 126px; overflow: hidden;
  background: linear-gradient(135deg, hsl(var(--hue, 215), 38%, 30%) 0%, hsl(var(--hue, 215), 45%, 14%) 100%);
}
.tile-img { display: block; width: 100%; height: 100%; object-fit: cover; }
.tile-placeholder {
  position: absolute; inset: 0; display: flex; align-items: center; justify-content: center;
  flex-direction: column; gap: 6px; color: rgba(255, 255, 255, 0.55);
}
.tile-placeholder-icon {
  width: 44px; height: 32px; border: 2px solid rgba(255, 255, 255, 0.45); border-radius: 5px;
  position: relative;
}
.tile-placeholder-icon::after {
  content: ""; position: absolute; left: 6px; right: 6px; bottom: 5px; height: 11px;
  background: linear-gradient(135deg, transparent 45%, rgba(255, 255, 255, 0.45) 46%);
}
.tile-placeholder-ratio { font-size: 12px; letter-spacing: 0.5px; }
.tile-playable {
  position: absolute; left: 10px; bottom: 10px; width: 34px; height: 34px; border-radius: 50%;
  background: rgba(10, 12, 16, 0.72); border: 2px solid rgba(255, 255, 255, 0.85);
  display: flex; align-items: center; justify-content: center;
  color: #ffffff; font-size: 14px; line-height: 1; padding-left: 3px;
}
.tile-progress { position: absolute; left: 0; right: 0; bottom: 0; height: 4px; background: rgba(255, 255, 255, 0.2); }
.tile-progress-bar { display: block; height: 100%; background: #e23b3b; }
.tile-text { padding: 9px 12px 11px 12px; display: flex; flex-direction: column; gap: 3px; min-width: 0; }
.tile-title {
  font-size: 15px; font-weight: 600; margin: 0; color: #f3f5f9;
  white-space: nowrap; overflow: hidden; text-overflow: ellipsis;
}
.tile-title.is-empty { color: #6f7a8c; font-style: italic; font-weight: 400; }
.tile-subtitle {
  font-size: 13px; margin: 0; color: #a7b0bf;
  white-space: nowrap; overflow: hidden; text-overflow: ellipsis;
}
.tile.is-outside-window .tile-image { opacity: 0.45; filter: grayscale(0.7); }
.tile-window-state { font-size: 11px; margin: 2px 0 0 0; color: #f0b45a; white-space: normal; }
.tile-window { font-size: 11px; margin: 2px 0 0 0; color: #77818f; white-space: nowrap; overflow: hidden; text-overflow: ellipsis; }
)CSS";
}
