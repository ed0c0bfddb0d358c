/// \file
/// Polygons in the MapInfo interchange form: shapes in a MIF file, their attributes in the MID file beside
/// it. docs/formats.md shows the form. (MapInfo Professional, User Guide, appendix "MapInfo Data Interchange
/// Format".)
///
/// Texts, attributes among them, are bytes in the layer's character set and are not converted. Numbers have a
/// decimal point under every locale. The functions let no exception out; each says in `problem` (may be
/// null), on failure, what was wrong, in one line, with the line of the file where there is one. What they
/// were to fill is then unchanged.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "kelvane/geometry/polygon.h"
#include "kelvane/module/export.h"

class TKaStream;

namespace SatCommonUtils {

/// CoordSys clause of longitudes (x) and latitudes (y) in degrees on WGS 84.
inline constexpr char MIFGeographicWgs84[] = "Earth Projection 1, 104";

/// An attribute that every shape of a layer has.
struct TMIFColumn {
  std::string Name;  ///< without white space
  std::string Type;  ///< as it stands in the file, such as "Integer" or "Char(20)"
};

/// A shape and its attributes.
struct TMIFRegion {
  /// The boundaries. Whether a ring is a hole or a part of its own is not marked in the form: the even-odd
  /// rule over all of them tells. No ring at all is a row without a shape.
  std::vector<TPolygon> Rings;
  /// One for each column; empty when there was no MID file.
  std::vector<std::string> Values;
};

/// What a MIF file and its MID file hold.
struct TMIFLayer {
  int Version = 300;                ///< from 1 to 1000000
  std::string Charset = "Neutral";  ///< as the file names it; texts are bytes in it, not converted
  char Delimiter = '\t';            ///< between the values of a row in the MID file
  /// The CoordSys clause without its word; without one, longitude and latitude are meant.
  std::string CoordSys;
  /// Names and types of the attributes, of which each row holds one.
  std::vector<TMIFColumn> Columns;
  /// In the order of the file; other objects have no place here.
  std::vector<TMIFRegion> Regions;
  /// Points, lines, texts and the like that stood in the file and are not kept.
  std::size_t OtherObjects = 0;
};

/// Reads a layer from where the streams stand to their ends; `mid` may be null, the regions are then without
/// values. Regions, rectangles (as regions of four vertices) and regions in collections are kept. The vertex
/// that closes a ring is dropped; otherwise vertices are as they stand, a Transform clause applied, and a
/// ring may have fewer than three. A text of more than 256 MiB is refused, and so are a count that the rest
/// of the text cannot hold, before anything is allocated for it, a collection that lacks objects or holds
/// another one, and a row that collections would repeat until its copies take more than 256 MiB.
KELVANE_API bool ReadMIF(TKaStream* mif, TKaStream* mid, TMIFLayer* layer, std::string* problem);
/// The same from a file and, where there is one, the file of the same name with the suffix ".mid" or ".MID";
/// where there are both, ".MID" belongs to ".MIF", and ".mid" to any other. One that cannot be opened is a
/// failure.
KELVANE_API bool ReadMIFFile(const std::string& path, TMIFLayer* layer, std::string* problem);

/// Writes a layer. Coordinates have as many digits as it takes to read the same bits again; rings are closed
/// by their first vertex; a region without values gets empty ones. A layer without columns gets one, "ID",
/// that counts the rows from 1, since the form asks for one. Refused, with nothing written: a ring of fewer
/// than three vertices or with one that is not finite, values that do not match the columns, texts that would
/// not be read back. `OtherObjects` is not looked at.
KELVANE_API bool WriteMIF(const TMIFLayer& layer, TKaStream* mif, TKaStream* mid, std::string* problem);
/// The same into a file, whose name must end in ".mif", and one with the suffix ".mid" (".MIF": ".MID").
/// Both are written beside their places first and then renamed (`TFileReplacement`), so that a failure leaves
/// old files as they were. Only when the second renaming fails is a new MID file left beside an old MIF file.
KELVANE_API bool WriteMIFFile(const std::string& path, const TMIFLayer& layer, std::string* problem);

}  // namespace SatCommonUtils
