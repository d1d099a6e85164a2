// A scanner of JPEG entropy-coded data (ITU-T T.81, annex F) for who wants the first coefficient of
// each block alone: the others are passed over, several at a look-up, and nothing is stored but the
// plane of first coefficients. libjpeg reads the header; what is not a whole baseline picture in
// one scan, or is damaged in any way, is left to libjpeg as well.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "media/jpegmemsrc.h"

namespace watchpost {

/// A Huffman table in a form for looking up several bits at once. Entries are words, which are read
/// in one piece: this is the innermost loop.
class HuffmanLookup {
 public:
  static constexpr unsigned kBits = 11;  ///< that are looked up at once

  /// One symbol: a code and, behind it, the value that it announces.
  struct Symbol {
    std::uint32_t word = 0;
    [[nodiscard]] unsigned Bits() const { return word & 0xFFU; }  ///< of both; 0: no such code
    [[nodiscard]] unsigned ValueBits() const { return word >> 8U & 0xFFU; }
    /// Coefficients, up to and with the one it stands for; 0 for the end of the block.
    [[nodiscard]] unsigned Steps() const { return word >> 16U; }
  };
  /// As many symbols of a block as kBits bits hold, of which the last may have its value beyond
  /// them.
  struct Run {
    std::uint32_t word = 0;
    [[nodiscard]] unsigned Bits() const { return word & 0xFFU; }
    [[nodiscard]] unsigned Steps() const { return word >> 8U & 0xFFU; }
    /// The run stands whole when its steps end at this coefficient at most.
    [[nodiscard]] unsigned Most() const { return word >> 16U & 0xFFU; }
    [[nodiscard]] bool EndsBlock() const { return word >> 24U != 0; }
  };
  /// A whole symbol of a DC table within kBits bits, with its value; otherwise of 0 bits.
  struct Difference {
    std::uint32_t word = 0;
    [[nodiscard]] unsigned Bits() const { return word & 0xFFU; }
    [[nodiscard]] int Value() const { return static_cast<std::int32_t>(word) >> 16; }
  };

  /// Takes a table over, unless it is the one that is held already. False when libjpeg would refuse
  /// it (as one of DC differences, when `dc`).
  bool Use(const JHUFF_TBL* table, bool dc);

  /// The first symbol of the bits, from the left.
  [[nodiscard]] Symbol SymbolAt(std::uint64_t bits) const {
    const Symbol symbol = symbols_[IndexOf(bits)];
    return symbol.Bits() != 0 ? symbol : LongSymbol(bits);
  }
  [[nodiscard]] Run RunAt(std::uint64_t bits) const { return {direct_[IndexOf(bits)]}; }
  [[nodiscard]] Difference DifferenceAt(std::uint64_t bits) const {
    return {direct_[IndexOf(bits)]};
  }
  /// The value behind a symbol of these bits (T.81, F.2.2.1).
  static int ValueOf(std::uint64_t bits, Symbol symbol);

 private:
  static std::size_t IndexOf(std::uint64_t bits) {
    return static_cast<std::size_t>(bits >> (64 - kBits));
  }

  bool Derive(bool dc);
  void FillSymbols();
  void FillRuns();
  void FillDifferences();
  [[nodiscard]] Symbol SymbolOf(unsigned length, std::uint8_t value) const;
  [[nodiscard]] Symbol LongSymbol(std::uint64_t bits) const;

  bool used_ = false;
  bool dc_ = false;
  std::array<std::uint8_t, 17> counts_{};  // of codes of each length
  std::array<std::uint8_t, 256> values_{};
  std::array<std::int32_t, 17> largest_{};  // code of each length, -1 for none
  std::array<std::int32_t, 17> offset_{};   // from a code of a length to the index of its value
  std::array<Symbol, 1U << kBits> symbols_{};
  std::array<std::uint32_t, 1U << kBits> direct_{};  // runs, or differences
};

/// Tables are derived once for pictures that share them. One thread at a time uses an object.
class DcScanner {
 public:
  /// Reads the first coefficients of a picture whose header libjpeg has just read, up to its only
  /// scan, and whose bytes all lie in its source's buffer; to `dc`, component by component, row by
  /// row. False when libjpeg is to read the picture: nothing was taken from its source then.
  bool Scan(const jpeg_decompress_struct& info, JCOEF* dc);

 private:
  bool PrepareTables(const jpeg_decompress_struct& info);

  std::array<HuffmanLookup, NUM_HUFF_TBLS> dc_tables_;
  std::array<HuffmanLookup, NUM_HUFF_TBLS> ac_tables_;
};

}  // namespace watchpost
