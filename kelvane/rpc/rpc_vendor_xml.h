/// \file
/// RPC models in the XML documents of image providers.
///
/// Two forms are read, told apart by their document tag. Both hold the numbers of RPC00B (NITF:
/// STDI-0002, version 2.1, 2000, section 8.2.4) in its order of terms, which is that of `TRPCData`;
/// docs/formats.md shows each.
///
/// DIMAP, version 2 (document tag `Dimap_Document`): the tag `Global_RFM` in `Rational_Function_Model`. The
/// coefficients are those of its `Inverse_Model`, from the ground to the image (`LINE_NUM_COEFF_1` to `_20`
/// and so on); the `Direct_Model` leads the other way and is no RPC00B. Offsets and scales stand in
/// `RFM_Validity` under their names of the RPC text form. There the centre of the first pixel is line 1,
/// sample 1: `PIXEL_ORIGIN` is 1 and `PIXEL_ORIENTATION` is CENTER in the product's `Raster_CRS`, and
/// `Direct_Model_Validity_Domain` begins at row and column 1, with `LINE_OFF` and `SAMP_OFF` in its middle.
/// So 1 is taken off `LINE_OFF` and `SAMP_OFF`. The order of the terms is what `Resource_Reference` names.
/// The error figures of this form are in pixels, and by axis: they have no place in `TRPBHeader`.
///
/// isd (document tag `isd`): the tag `IMAGE` in `RPB`, in which each key of the RPB form is a tag in capital
/// letters, and a set of coefficients is the text of `LINENUMCOEF` in `LINENUMCOEFList` (Imagery Support Data
/// Documentation, DigitalGlobe, v. 1.1.2, 2014). Pixels count from the centre of the first one at 0, as in
/// RPB: nothing is converted. Satellite and band are `SATID` and `BANDID` in `RPB`.
#pragma once

#include <string>

#include "kelvane/module/export.h"
#include "kelvane/rpc/rpc_data.h"

namespace SatCommonUtils {

/// Reads the whole of a stream, from its beginning. `header` may be null. False, with `problem` (may be null)
/// saying why in one line and nothing else written, when that is no document of these forms; when a number of
/// the 90 is missing, stands twice or is none; and when the document names another order of terms than
/// RPC00B. Lets no exception out. That the model can project is not checked, nor that its validity domain
/// begins at 1.
KELVANE_API bool ReadVendorXml(TKaStream* stream, TRPCData* data, TRPBHeader* header, std::string* problem);

}  // namespace SatCommonUtils
