// What sets some modules apart from the rest in a preview: how many tiles they may publish and
// what makes up their tiles' content keys. The parser and the loader must agree on the keys, or
// every publish of such a module would delete and re-insert all its tiles.
#pragma once

#include <string>

namespace PreviewModuleRules {
// Tiles one preview may hold.
constexpr int kTileLimit = 200;
// Tiles the one module with the larger allowance may hold.
constexpr int kLargeTileLimit = 300;
constexpr const char* kLargeLimitModule = "org.orvik.plinth-app";
// The app whose tile key takes the play column instead of the action data.
constexpr const char* kPlayColumnKeyModule = "com.quenor.tv.Skyvane";

// How many tiles a preview of the module may hold.
int TileLimit(const std::string& sModule);

// Whether a tile of the module changes identity when only its display period changes.
bool DisplayPeriodIsPartOfTheKey(const std::string& sModule);

// Whether the module's tile key takes the play column instead of the action data.
bool PlayColumnIsPartOfTheKey(const std::string& sModule);
}  // namespace PreviewModuleRules
