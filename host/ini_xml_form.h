/// \file
/// The names of the configuration's XML form (internal); the form is described in docs/formats.md.
#pragma once

inline constexpr char kIniRoot[] = "configuration";
inline constexpr char kIniSection[] = "section";
inline constexpr char kIniValue[] = "value";
inline constexpr char kIniPoint[] = "point";
inline constexpr char kIniKey[] = "key";
inline constexpr char kIniX[] = "x";
inline constexpr char kIniY[] = "y";
