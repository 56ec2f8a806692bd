#pragma once

#include "platform/webrtc/require_checks.h"

#include <array>
#include <cstdint>
#include <vector>

#include "platform/webrtc/block_move.h"
#include "platform/webrtc/picture_prints.h"

namespace tovalin {

// Finds out that a part of the screen has scrolled up or down: by how much, and which macroblocks
// show what was there before. Keeps its memory from one picture to the next. Not thread-safe.
class ScrollSearch {
 public:
  struct Found {
    BlockMove move;
    RowBand moved;  // the rows of all macroblocks that move
    // Of each macroblock: 1 where something is left to be encoded after the move.
    std::vector<uint8_t> rest;
    RowBand restRows;  // of all of those
  };

  // Fewer macroblocks than this are not worth a frame of their own, which costs the viewer a
  // decoding and the host a copy of the picture.
  static constexpr int kLeastBlocks = 200;
  // Of those that changed, one in so many must be recognised: the words that two pages have in
  // common, at the same distance by chance, are no scroll.
  static constexpr int kLeastShare = 4;

  // More rows are not looked at.
  static constexpr int kMostRows = 4096;

  static constexpr bool isWorthIt(RowBand rows) {
    const int height = rows.bottom - rows.top;
    return height >= 2 * kBlock && height <= kMostRows;
  }

  // `shown`: what the viewer has; `fresh`: what it is to have. They differ in `rows` at most. Null
  // when nothing has scrolled that is worth it; else it is good until the next search.
  const Found* find(const PicturePrints& shown, const PicturePrints& fresh, RowBand rows);

 private:
  // At which rows something was before, by what it looks like.
  class Places {
   public:
    // What repeats in more places within reach says nothing.
    static constexpr std::size_t kMostPlaces = 4;
    struct Distances {
      std::array<int, kMostPlaces> list;
      std::size_t count = 0;
    };

    void clear(int rows);
    // From the top to the bottom.
    void put(uint32_t look, int row);
    // From how far down it may have come, within reach; nothing if it was here as well.
    void find(uint32_t look, int row, Distances& distances);

   private:
    static constexpr uint32_t kSlots = 2 * kMostRows;
    static constexpr int kMostSteps = 32;
    static constexpr int16_t kNone = -1;

    struct Slot {
      uint32_t look;
      int16_t lowest;  // the lowest row that looks like that
    };

    Slot& slotOf(uint32_t look);

    std::vector<Slot> slots_;
    std::vector<int16_t> above_;  // of each row, the next one above that looks the same
  };

  // Rows of a macroblock that are as they were, here and there.
  struct Alike {
    int staying = 0;
    int moving = 0;
    int coloursStaying = 0;
    int coloursMoving = 0;
  };

  void chooseColumns(const PicturePrints& shown, const PicturePrints& fresh, RowBand rows);
  void vote(const PicturePrints& shown, const PicturePrints& fresh, RowBand rows, int column);
  int elected() const;
  void judge(const PicturePrints& shown, const PicturePrints& fresh, RowBand rows, int from);

  // Of one row of macroblocks.
  void tally(const PicturePrints& shown, const PicturePrints& fresh, RowBand rows, int from);

  std::vector<int> changed_;  // rows, by column
  std::vector<int> columns_;  // that vote
  std::array<int, 2 * BlockMove::kFarthest + 1> votes_{};
  Places places_;
  std::vector<uint32_t> looks_;
  std::vector<Alike> alike_;  // by column
  Found found_;
  int changes_ = 0;     // macroblocks that are not as they were
  int recognised_ = 0;  // those of them whose brightness is what it was elsewhere
};

}  // namespace tovalin
