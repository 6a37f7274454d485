// Turning untrusted preview texts into safe pieces of the rendered page: element text and
// quoted attribute values, and image addresses the page may load.
#pragma once

#include <string>

// Escapes text for HTML element content and for double- or single-quoted attribute values.
// Control characters other than tab and line feed become U+FFFD, so that no byte of a title
// can end an element, an attribute or start markup.
std::string EscapeHtml(const std::string& sText);

// The address an <img> may load for a stored image address, or "" when the page must draw a
// placeholder instead: only http, https and file addresses are allowed, with no blanks or
// control characters in them. The result still needs EscapeHtml in an attribute.
std::string PageImageUrl(const std::string& sUrl);

// A file address for an absolute local path (tile_image_path), percent-encoded; "" for a path
// that is not absolute or holds control characters.
std::string FileUrlFromPath(const std::string& sPath);
