#include "motion/dcscan_internal.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "base/byteorder_internal.h"

namespace watchpost {
namespace {

constexpr unsigned kLongestCode = 16;
constexpr unsigned kLongestValue = 15;
constexpr unsigned kBlockSize = DCTSIZE2;
constexpr int kMostBlocksOfMcu = 10;  // T.81, B.2.3
constexpr unsigned char kMarker = 0xFF;
constexpr unsigned char kRestart = 0xD0;  // the first of eight
constexpr unsigned char kEnd = 0xD9;
// Of a sum of differences; no honest one comes near.
constexpr int kLargestDc = 1 << 24;

// The bits of the data, from the left; behind their end there are zeros.
class BitReader {
 public:
  BitReader(const unsigned char* begin, const unsigned char* end) : next_(begin), end_(end) {}

  // At least kLongestCode + kLongestValue bits, as far as there are any.
  void Fill() {
    if (count_ < kEnough) Refill();
  }
  [[nodiscard]] std::uint64_t Bits() const { return bits_; }
  void Drop(unsigned bits) {
    bits_ <<= bits;
    count_ -= static_cast<int>(bits);
  }
  // Whether more was dropped than there was.
  [[nodiscard]] bool IsBeyondEnd() const { return count_ < 0; }

  // Passes the rest of the byte at hand and the marker that must follow it.
  bool PassMarker(unsigned char code) {
    if (count_ >= 8 || !AtMarker() || next_[1] != code) return false;
    next_ += 2;
    bits_ = 0;
    count_ = 0;
    return true;
  }

 private:
  static constexpr int kEnough = kLongestCode + kLongestValue;
  static constexpr int kAll = 64;

  [[nodiscard]] bool AtMarker() const {
    return end_ - next_ >= 2 && next_[0] == kMarker && next_[1] != 0;
  }

  static bool HasMarkerByte(std::uint64_t bytes) {
    constexpr std::uint64_t kOnes = 0x0101010101010101;
    const std::uint64_t inverse = ~bytes;  // a byte of it that is 0 is one of FF
    return ((inverse - kOnes) & ~inverse & (kOnes << 7)) != 0;
  }

  void Refill() {
    constexpr int kWord = 8;
    if (end_ - next_ >= kWord) {
      const std::uint64_t bytes = LoadBe64(next_);
      if (!HasMarkerByte(bytes)) {
        // What does not fit whole is there already when its byte comes again.
        bits_ |= bytes >> count_;
        const int taken = (kAll - 1 - count_) / 8;
        next_ += taken;
        count_ += 8 * taken;
        return;
      }
    }
    RefillByBytes();
  }

  void RefillByBytes() {
    while (count_ <= kAll - 8 && next_ < end_) {
      const unsigned char byte = *next_;
      if (byte == kMarker && (end_ - next_ < 2 || next_[1] != 0)) return;
      if (count_ >= 0) bits_ |= std::uint64_t{byte} << (kAll - 8 - count_);
      count_ += 8;
      next_ += byte == kMarker ? 2 : 1;
    }
  }

  const unsigned char* next_;
  const unsigned char* const end_;
  std::uint64_t bits_ = 0;
  int count_ = 0;
};

// One block: adds the difference of its first coefficient, passes the others. False when a code is
// none.
bool ReadBlock(BitReader& bits, const HuffmanLookup& dc, const HuffmanLookup& ac, int& predicted) {
  bits.Fill();
  const HuffmanLookup::Difference difference = dc.DifferenceAt(bits.Bits());
  if (difference.Bits() != 0) {
    predicted += difference.Value();
    bits.Drop(difference.Bits());
  } else {
    const HuffmanLookup::Symbol symbol = dc.SymbolAt(bits.Bits());
    if (symbol.Bits() == 0) return false;
    predicted += HuffmanLookup::ValueOf(bits.Bits(), symbol);
    bits.Drop(symbol.Bits());
  }
  for (unsigned at = 1; at < kBlockSize;) {
    bits.Fill();
    const HuffmanLookup::Run run = ac.RunAt(bits.Bits());
    if (at + run.Steps() <= run.Most()) {
      bits.Drop(run.Bits());
      if (run.EndsBlock()) return true;
      at += run.Steps();
      continue;
    }
    const HuffmanLookup::Symbol symbol = ac.SymbolAt(bits.Bits());
    if (symbol.Bits() == 0) return false;
    bits.Drop(symbol.Bits());
    if (symbol.Steps() == 0) return true;
    at += symbol.Steps();
  }
  return true;
}

// A component of the scan: where its next block goes.
struct Component {
  const HuffmanLookup* dc;
  const HuffmanLookup* ac;
  JCOEF* plane;
  JDIMENSION rows, columns;  // in blocks
  int across, down;          // blocks of an MCU
  int predicted;

  // The blocks of the MCU in this row and column of MCUs; those beyond the picture go nowhere.
  bool ReadMcu(BitReader& bits, JDIMENSION mcu_row, JDIMENSION mcu_column) {
    for (int y = 0; y < down; ++y) {
      const JDIMENSION row = mcu_row * static_cast<JDIMENSION>(down) + static_cast<JDIMENSION>(y);
      for (int x = 0; x < across; ++x) {
        const JDIMENSION column =
            mcu_column * static_cast<JDIMENSION>(across) + static_cast<JDIMENSION>(x);
        if (!ReadBlock(bits, *dc, *ac, predicted)) return false;
        if (row < rows && column < columns)
          plane[std::size_t{row} * columns + column] = static_cast<JCOEF>(predicted);
      }
    }
    return predicted > -kLargestDc && predicted < kLargestDc;
  }
};

// Whether the header is one of a whole baseline picture in one scan, which libjpeg would read, too.
bool IsPlain(const jpeg_decompress_struct& info) {
  if (info.progressive_mode || info.arith_code || info.data_precision != 8 || info.Ss != 0 ||
      info.Se != DCTSIZE2 - 1 || info.Ah != 0 || info.Al != 0 ||
      info.comps_in_scan != info.num_components)
    return false;
  int blocks = 0;
  for (int i = 0; i < info.comps_in_scan; ++i) {
    const jpeg_component_info& component = *info.cur_comp_info[i];
    blocks += component.h_samp_factor * component.v_samp_factor;
    const int table = component.quant_tbl_no;
    if (table < 0 || table >= NUM_QUANT_TBLS || info.quant_tbl_ptrs[table] == nullptr) return false;
  }
  return info.comps_in_scan == 1 || blocks <= kMostBlocksOfMcu;
}

JDIMENSION RoundedUp(JDIMENSION value, int unit) {
  const auto divisor = static_cast<JDIMENSION>(unit);
  return (value + divisor - 1) / divisor;
}

// All MCUs of the scan.
struct Scan {
  Component components[MAX_COMPS_IN_SCAN];
  int count;
  JDIMENSION rows, columns;  // of MCUs
  unsigned interval;         // MCUs between restart markers, 0 for none

  bool Read(BitReader& bits) {
    unsigned left = interval;
    unsigned char restarts = 0;
    for (JDIMENSION row = 0; row < rows; ++row) {
      for (JDIMENSION column = 0; column < columns; ++column) {
        if (interval != 0 && left-- == 0) {
          if (!Restart(bits, restarts)) return false;
          restarts = static_cast<unsigned char>((restarts + 1) % 8);
          left = interval - 1;
        }
        for (int i = 0; i < count; ++i) {
          if (!components[i].ReadMcu(bits, row, column)) return false;
        }
        if (bits.IsBeyondEnd()) return false;
      }
    }
    return bits.PassMarker(kEnd);
  }

  bool Restart(BitReader& bits, unsigned char number) {
    for (int i = 0; i < count; ++i) components[i].predicted = 0;
    return bits.PassMarker(static_cast<unsigned char>(kRestart + number));
  }
};

}  // namespace

bool HuffmanLookup::Use(const JHUFF_TBL* table, bool dc) {
  if (table == nullptr) return false;
  const bool same = used_ && dc == dc_ &&
                    std::equal(counts_.begin() + 1, counts_.end(), table->bits + 1) &&
                    std::equal(values_.begin(), values_.end(), table->huffval);
  if (same) return true;
  std::copy_n(table->bits, counts_.size(), counts_.begin());
  std::copy_n(table->huffval, values_.size(), values_.begin());
  dc_ = dc;
  used_ = Derive(dc);
  if (!used_) return false;
  FillSymbols();
  if (dc)
    FillDifferences();
  else
    FillRuns();
  return true;
}

// The canonical codes (T.81, annex C).
bool HuffmanLookup::Derive(bool dc) {
  int code = 0;
  int index = 0;
  for (unsigned length = 1; length <= kLongestCode; ++length, code <<= 1) {
    offset_[length] = index - code;
    code += counts_[length];
    index += counts_[length];
    largest_[length] = counts_[length] == 0 ? -1 : code - 1;
    // No code is all ones.
    if (index > static_cast<int>(values_.size()) || code >= 1 << length) return false;
  }
  return !dc || std::all_of(values_.begin(), values_.begin() + index, [](std::uint8_t value) {
    return value <= kLongestValue;
  });
}

HuffmanLookup::Symbol HuffmanLookup::SymbolOf(unsigned length, std::uint8_t value) const {
  constexpr std::uint8_t kSixteenZeros = 0xF0;
  const unsigned value_bits = dc_ ? value : value & 15U;
  const bool ends = value_bits == 0 && value != kSixteenZeros;
  const unsigned steps = ends ? 0 : (value >> 4U) + 1U;
  return {steps << 16U | value_bits << 8U | (length + value_bits)};
}

void HuffmanLookup::FillSymbols() {
  symbols_.fill({});
  for (unsigned length = 1; length <= kBits; ++length) {
    for (int code = largest_[length] - counts_[length] + 1; code <= largest_[length]; ++code) {
      const Symbol symbol =
          SymbolOf(length, values_[static_cast<std::size_t>(code + offset_[length])]);
      const unsigned free = kBits - length;
      const auto first = static_cast<std::ptrdiff_t>(code) << free;
      std::fill_n(symbols_.begin() + first, 1U << free, symbol);
    }
  }
}

void HuffmanLookup::FillRuns() {
  for (std::size_t prefix = 0; prefix < direct_.size(); ++prefix) {
    unsigned bits = 0;
    unsigned steps = 0;
    bool ends = false;
    while (bits < kBits && !ends) {
      const Symbol symbol = symbols_[(prefix << bits) % symbols_.size()];
      if (symbol.Bits() == 0 || bits + symbol.Bits() - symbol.ValueBits() > kBits) break;
      bits += symbol.Bits();
      steps += symbol.Steps();
      ends = symbol.Steps() == 0;
    }
    const unsigned most = bits == 0 ? 0 : ends ? kBlockSize - 1 : kBlockSize;
    direct_[prefix] = (ends ? 1U << 24U : 0U) | most << 16U | steps << 8U | bits;
  }
}

void HuffmanLookup::FillDifferences() {
  for (std::size_t prefix = 0; prefix < direct_.size(); ++prefix) {
    const Symbol symbol = symbols_[prefix];
    const bool whole = symbol.Bits() != 0 && symbol.Bits() <= kBits;
    const auto value =
        static_cast<std::uint32_t>(ValueOf(std::uint64_t{prefix} << (64 - kBits), symbol));
    direct_[prefix] = whole ? value << 16U | symbol.Bits() : 0U;
  }
}

int HuffmanLookup::ValueOf(std::uint64_t bits, Symbol symbol) {
  const unsigned length = symbol.ValueBits();
  if (length == 0) return 0;
  const auto value = static_cast<int>(bits << (symbol.Bits() - length) >> (64 - length));
  return value < 1 << (length - 1) ? value - (1 << length) + 1 : value;
}

HuffmanLookup::Symbol HuffmanLookup::LongSymbol(std::uint64_t bits) const {
  for (unsigned length = kBits + 1; length <= kLongestCode; ++length) {
    const auto code = static_cast<int>(bits >> (64 - length));
    if (code <= largest_[length])
      return SymbolOf(length, values_[static_cast<std::size_t>(code + offset_[length])]);
  }
  return {};
}

bool DcScanner::PrepareTables(const jpeg_decompress_struct& info) {
  for (int i = 0; i < info.comps_in_scan; ++i) {
    const int dc = info.cur_comp_info[i]->dc_tbl_no;
    const int ac = info.cur_comp_info[i]->ac_tbl_no;
    if (dc < 0 || dc >= NUM_HUFF_TBLS || ac < 0 || ac >= NUM_HUFF_TBLS) return false;
    if (!dc_tables_[static_cast<std::size_t>(dc)].Use(info.dc_huff_tbl_ptrs[dc], true) ||
        !ac_tables_[static_cast<std::size_t>(ac)].Use(info.ac_huff_tbl_ptrs[ac], false))
      return false;
  }
  return true;
}

bool DcScanner::Scan(const jpeg_decompress_struct& info, JCOEF* dc) {
  if (!IsPlain(info) || !PrepareTables(info)) return false;
  watchpost::Scan scan{};
  scan.count = info.comps_in_scan;
  scan.interval = info.restart_interval;
  JCOEF* planes[MAX_COMPONENTS];
  for (int i = 0; i < info.num_components; ++i) {
    planes[i] = dc;
    dc += std::size_t{info.comp_info[i].height_in_blocks} * info.comp_info[i].width_in_blocks;
  }
  for (int i = 0; i < scan.count; ++i) {
    const jpeg_component_info& component = *info.cur_comp_info[i];
    const bool alone = scan.count == 1;
    scan.components[i] = {&dc_tables_[static_cast<std::size_t>(component.dc_tbl_no)],
                          &ac_tables_[static_cast<std::size_t>(component.ac_tbl_no)],
                          planes[component.component_index],
                          component.height_in_blocks,
                          component.width_in_blocks,
                          alone ? 1 : component.h_samp_factor,
                          alone ? 1 : component.v_samp_factor,
                          0};
    scan.rows = alone ? component.height_in_blocks
                      : RoundedUp(info.image_height, info.max_v_samp_factor * DCTSIZE);
    scan.columns = alone ? component.width_in_blocks
                         : RoundedUp(info.image_width, info.max_h_samp_factor * DCTSIZE);
  }
  const unsigned char* const begin = info.src->next_input_byte;
  BitReader bits(begin, begin + info.src->bytes_in_buffer);
  return scan.Read(bits);
}

}  // namespace watchpost
