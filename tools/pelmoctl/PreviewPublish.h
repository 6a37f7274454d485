// A publish through set_preview_metadata, measured by the store's journal: what it sent, and
// whether the store refused any of it.
#pragma once

#include <string>

#include "StoreCommandSupport.h"

// Publishes sDocument for sModule ("{}" withdraws), then prints on standard output how many
// sections and tiles the publish inserted, updated and deleted, as the store counted them
// (with bShowRequests, one line per request before that). The module must be registered (its
// statistics in `stats`). Returns the exit status; a failure is one line on standard error.
// With bSummary the counts are one line a newcomer reads: "sections +1 -1 ~2 =3, tiles +4 -4 ~3
// =7: 18 requests" (inserted, deleted, updated, stored after the publish; requests sent).
int PublishAndReport(const std::string& sCommand, const std::string& sModule, const std::string& sDocument,
                     const Json::Value& stats, bool bShowRequests, StoreCommand::CLibraryLog& log,
                     bool bSummary = false);
