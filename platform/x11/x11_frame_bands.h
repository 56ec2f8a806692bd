#pragma once

#include <span>
#include <vector>

#include "platform/pixel_buffer.h"

namespace tovalin {

// A set of full-width rows, kept as bands in ascending order that neither overlap nor touch.
// Plain value, no thread of its own.
class BandSet {
 public:
  BandSet() = default;
  explicit BandSet(RowBand band) { add(band); }

  // Empty bands (bottom <= top) add and remove nothing.
  void add(RowBand band);
  void add(const BandSet& other);
  void remove(RowBand band);
  void clear() { bands_.clear(); }

  bool empty() const { return bands_.empty(); }
  // Number of rows in the set.
  int rows() const;
  std::span<const RowBand> bands() const { return bands_; }

  // The set with the gaps of at most `rows` rows filled in: asking a server for a few rows more
  // is cheaper than asking it once more.
  BandSet withGapsClosed(int rows) const;

  bool operator==(const BandSet&) const = default;

 private:
  std::vector<RowBand> bands_;
};

// The rows that both bands have; empty (bottom <= top) when they have none.
RowBand commonRows(RowBand a, RowBand b);

}  // namespace tovalin
