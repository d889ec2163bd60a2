#pragma once

// Turns a palette into a table with one colour for every possible sample value, so that showing a
// frame is one look-up a pixel.

#include <libCommon/export.h>
#include <libCommon/mzpalette.h>

#include <QRgb>

#include <cstdint>
#include <vector>

namespace mz {

/// The type of the samples that index a table.
enum DATAIO_EXPORT PalIndexType : int {
    IdxSigned8 = 0,
    IdxUnsigned8 = 1,
    IdxSigned16 = 2,
    IdxUnsigned16 = 3
};

/// Bits of the flags of a generator. The two "Transparent" bits are for users of the table; the
/// generator does not act on them.
enum GenerationFlags : int {
    Default = 0,
    MakeMinValueTransparent = 1,
    MakeMinValueBlack = 2,
    MakeSpecificValueTransparent = 4,
    MakeSpecificValueBlack = 8
};

template <int min, int max, class Special>
struct IndexRange {
    static constexpr int minLookupIdx = min;        ///< smallest sample value
    static constexpr int maxLookupIdx = max;        ///< largest sample value
    static constexpr int maxVectorIdx = max - min;  ///< last index of the table
    using SpecialValue = Special;                   ///< bit pattern of one sample
};

template <PalIndexType type>
struct IndexTypeInfo;
template <>
struct IndexTypeInfo<IdxSigned8> : IndexRange<-128, 127, uint8_t> {};
template <>
struct IndexTypeInfo<IdxUnsigned8> : IndexRange<0, 255, uint8_t> {};
template <>
struct IndexTypeInfo<IdxSigned16> : IndexRange<-32768, 32767, uint16_t> {};
template <>
struct IndexTypeInfo<IdxUnsigned16> : IndexRange<0, 65535, uint16_t> {};

/// Says for which samples a generator makes its table, and that the way between two nodes is a
/// straight line in red, green and blue. PalDataGenerator does the interpolation.
template <PalIndexType type>
struct DATAIO_EXPORT LerpQRGB {
    using Info = IndexTypeInfo<type>;
};

/// A function object: PalDataGenerator<LerpQRGB<IdxUnsigned8>>()(palette, table, flags, special).
/// Library instances exist for the four index types.
template <class Lerp>
class DATAIO_EXPORT PalDataGenerator {
public:
    /// Fills `table` with 0xAARRGGBB, resized to one entry for each sample value; a sample is an
    /// index by its bit pattern, so the signed value v lives at v & maxVectorIdx. A palette without
    /// nodes leaves the table as it is, size included.
    ///
    /// The crop range tells at which samples the nodes lie; between two of them colours are
    /// interpolated in double precision. A component c becomes floor(255 c + 0.5); what lies
    /// outside [0, 1] is clamped, a NaN is 0. Samples below the first node get its colour, samples
    /// above the last node that one's. With _saturationSignal both get the signal colours instead,
    /// and so does the sample of the last node itself, while that of the first keeps the node's
    /// colour. A last node at the largest sample keeps its colour too, unless a transfer type bends
    /// the ramp.
    ///
    /// Where the ramp leaves the sample values at an end, the crop range is shortened to them there
    /// and the whole ramp is squeezed into what remains. A squeezed ramp whose outer node is not at
    /// the end of the crop range then ends before the sample values do: the entries behind that
    /// node keep what they held, 0 where the table grew.
    ///
    /// A transfer type other than PTID bends the way from the first node to the last, which then
    /// reaches from end to end even when it was squeezed.
    ///
    /// Palettes that make no sense cost no more than others: positions are clamped to 32 bits and
    /// taken modulo the table size, and each entry is computed a few times at most, however many
    /// nodes lie on top of each other.
    ///
    /// @param flags bits of GenerationFlags: MakeMinValueBlack and MakeSpecificValueBlack clear the
    /// colour bits of one entry, its alpha stays
    /// @param specialValue bit pattern of the sample that MakeSpecificValueBlack blackens
    void operator()(const MzPalette& palette, std::vector<QRgb>& table, int flags,
                    typename Lerp::Info::SpecialValue specialValue) const;
};

extern template class PalDataGenerator<LerpQRGB<IdxSigned8>>;
extern template class PalDataGenerator<LerpQRGB<IdxUnsigned8>>;
extern template class PalDataGenerator<LerpQRGB<IdxSigned16>>;
extern template class PalDataGenerator<LerpQRGB<IdxUnsigned16>>;

}  // namespace mz
