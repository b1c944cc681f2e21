// The matrix of belt cases: every scene ScanSim/scenes/belt-*.json measured through the C
// interface, each object classed as found (one measured box within its tolerance), wrong (one
// measured box outside it), flagged (reported unmeasurable), missed, merged (one measured box
// over several objects) or split, plus boxes that match no object (invented), with the largest
// error per axis of the found boxes.
#pragma once

#include <string>

// Runs every matrix scene whose name contains `filter` and prints one table row per scene and
// a total. Returns the number of wrong boxes reported as measured (wrong + merged + split +
// invented), or -1 when a scene can't be run.
int runMatrix(const std::string& sceneDir, const std::string& filter);
