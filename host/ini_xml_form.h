/// \file
/// The names of the configuration's XML form (internal); the form is described in docs/formats.md.
#pragma once

inline constexpr char IniRoot[] = "configuration";
inline constexpr char IniSection[] = "section";
inline constexpr char IniValue[] = "value";
inline constexpr char IniPoint[] = "point";
inline constexpr char IniKey[] = "key";
inline constexpr char IniX[] = "x";
inline constexpr char IniY[] = "y";
