#include "platform/webrtc/scroll_search.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <numeric>

namespace tovalin {
namespace {

// Columns of macroblocks that vote, those with the most changes first. Text in any of them names
// the distance; more are for the case that a few are disturbed.
constexpr std::size_t kVoters = 8;
// Of the places that are recognised in all of them. Less is chance.
constexpr int kLeastVotes = 24;

// What the macroblock that begins at each row of a column looks like, at whatever row that is.
void lookAt(const PicturePrints& picture, int column, RowBand rows, std::vector<uint32_t>& looks) {
  constexpr uint32_t kFactor = 0x9E3779B1;  // odd: no print is lost in the sum
  uint32_t leaving = 1;
  for (int i = 0; i < kBlock; ++i) leaving *= kFactor;
  uint32_t look = 0;
  looks.clear();
  for (int row = rows.top; row < rows.bottom; ++row) {
    look = look * kFactor + picture.brightness(row)[column];
    const int first = row - kBlock;
    if (first >= rows.top) look -= leaving * picture.brightness(first)[column];
    if (first + 1 >= rows.top) looks.push_back(look);
  }
}

}  // namespace

void ScrollSearch::Places::clear(int rows) {
  slots_.assign(kSlots, {0, kNone});
  above_.resize(static_cast<std::size_t>(rows));
}

ScrollSearch::Places::Slot& ScrollSearch::Places::slotOf(uint32_t look) {
  constexpr uint32_t kMixed = 0x85EBCA6B;
  constexpr int kBits = 13;
  static_assert(kSlots == uint32_t{1} << kBits);
  uint32_t slot = (look * kMixed) >> (32 - kBits);
  while (slots_[slot].lowest != kNone && slots_[slot].look != look) slot = (slot + 1) % kSlots;
  return slots_[slot];
}

void ScrollSearch::Places::put(uint32_t look, int row) {
  Slot& slot = slotOf(look);
  above_[static_cast<std::size_t>(row)] = slot.lowest;
  slot = {look, static_cast<int16_t>(row)};
}

void ScrollSearch::Places::find(uint32_t look, int row, Distances& distances) {
  distances.count = 0;
  int steps = 0;
  for (int place = slotOf(look).lowest; place != kNone && steps < kMostSteps; ++steps) {
    const int from = place - row;
    place = above_[static_cast<std::size_t>(place)];
    if (std::abs(from) > BlockMove::kFarthest) continue;
    // What is everywhere, as what is empty, says nothing.
    if (from == 0 || distances.count == kMostPlaces) {
      distances.count = 0;
      return;
    }
    distances.list[distances.count++] = from;
  }
}

const ScrollSearch::Found* ScrollSearch::find(const PicturePrints& shown,
                                              const PicturePrints& fresh, RowBand rows) {
  rows = {std::max(rows.top, 0), std::min(rows.bottom, shown.height())};
  if (!isWorthIt(rows)) return nullptr;
  chooseColumns(shown, fresh, rows);
  votes_.fill(0);
  for (const int column : columns_) vote(shown, fresh, rows, column);
  const int from = elected();
  if (from == 0) return nullptr;
  judge(shown, fresh, rows, from);
  const bool isScroll = recognised_ >= kLeastBlocks && recognised_ * kLeastShare >= changes_;
  return isScroll ? &found_ : nullptr;
}

void ScrollSearch::chooseColumns(const PicturePrints& shown, const PicturePrints& fresh,
                                 RowBand rows) {
  changed_.assign(static_cast<std::size_t>(shown.columns()), 0);
  for (int row = rows.top; row < rows.bottom; ++row) {
    const auto* before = shown.brightness(row);
    const auto* now = fresh.brightness(row);
    for (std::size_t i = 0; i < changed_.size(); ++i) changed_[i] += before[i] != now[i] ? 1 : 0;
  }
  columns_.resize(changed_.size());
  std::iota(columns_.begin(), columns_.end(), 0);
  const auto voters = std::min(kVoters, columns_.size());
  std::ranges::partial_sort(
      columns_, columns_.begin() + static_cast<std::ptrdiff_t>(voters), std::ranges::greater(),
      [this](int column) { return changed_[static_cast<std::size_t>(column)]; });
  columns_.resize(voters);
}

void ScrollSearch::vote(const PicturePrints& shown, const PicturePrints& fresh, RowBand rows,
                        int column) {
  // What has moved into the rows was in them: all of it changed.
  lookAt(shown, column, rows, looks_);
  places_.clear(static_cast<int>(looks_.size()));
  for (std::size_t i = 0; i < looks_.size(); ++i) places_.put(looks_[i], static_cast<int>(i));
  lookAt(fresh, column, rows, looks_);
  Places::Distances distances;
  for (std::size_t i = 0; i < looks_.size(); ++i) {
    places_.find(looks_[i], static_cast<int>(i), distances);
    for (std::size_t j = 0; j < distances.count; ++j) {
      ++votes_[static_cast<std::size_t>(distances.list[j] + BlockMove::kFarthest)];
    }
  }
}

int ScrollSearch::elected() const {
  const auto most = std::ranges::max_element(votes_);
  if (*most < kLeastVotes) return 0;
  return static_cast<int>(most - votes_.begin()) - BlockMove::kFarthest;
}

void ScrollSearch::judge(const PicturePrints& shown, const PicturePrints& fresh, RowBand rows,
                         int from) {
  const int columns = shown.columns();
  const int height = shown.height();
  const auto blocks =
      static_cast<std::size_t>(columns) * static_cast<std::size_t>(blocksAlong(height));
  found_.move.from = from;
  found_.move.moves.assign(blocks, 0);
  found_.rest.assign(blocks, 0);
  found_.moved = found_.restRows = {};
  changes_ = recognised_ = 0;
  for (int top = rows.top / kBlock * kBlock; top < rows.bottom; top += kBlock) {
    const int bottom = std::min(top + kBlock, height);
    const bool within = top + from >= 0 && top + kBlock + from <= height;
    tally(shown, fresh, {top, bottom}, within ? from : 0);
    const int all = bottom - top;
    const int allColours = (bottom + 1) / 2 - top / 2;
    const auto first = static_cast<std::size_t>(top / kBlock) * static_cast<std::size_t>(columns);
    uint8_t* moves = &found_.move.moves[first];
    uint8_t* rest = &found_.rest[first];
    for (int column = 0; column < columns; ++column) {
      const Alike& alike = alike_[static_cast<std::size_t>(column)];
      const bool same = alike.staying == all && alike.coloursStaying == allColours;
      const bool exact = within && alike.moving == all && alike.coloursMoving == allColours;
      // Where both will do, staying is cheaper to say, unless all around move.
      const bool amongMoving =
          column > 0 && moves[column - 1] != 0 && top >= kBlock && moves[column - columns] != 0;
      const bool goes = within && (same ? exact && amongMoving : alike.moving > alike.staying);
      moves[column] = goes ? 1 : 0;
      if (goes) found_.moved = united(found_.moved, {top, bottom});
      if (!same) ++changes_;
      if (!same && goes && alike.moving == all) ++recognised_;
      if (goes ? exact : same) continue;
      rest[column] = 1;
      found_.restRows = united(found_.restRows, {top, bottom});
    }
  }
}

void ScrollSearch::tally(const PicturePrints& shown, const PicturePrints& fresh, RowBand rows,
                         int from) {
  alike_.assign(static_cast<std::size_t>(shown.columns()), {});
  looks_.resize(alike_.size());
  for (int row = rows.top; row < rows.bottom; ++row) {
    const auto* now = fresh.brightness(row);
    const auto* here = shown.brightness(row);
    const auto* there = shown.brightness(row + from);
    for (std::size_t i = 0; i < alike_.size(); ++i) {
      alike_[i].staying += now[i] == here[i] ? 1 : 0;
      alike_[i].moving += now[i] == there[i] ? 1 : 0;
    }
  }
  for (int row = rows.top / 2; row < (rows.bottom + 1) / 2; ++row) {
    const auto* now = fresh.colour(row);
    const auto* here = shown.colour(row);
    shown.movedColour(row, from, looks_.data());
    for (std::size_t i = 0; i < alike_.size(); ++i) {
      alike_[i].coloursStaying += now[i] == here[i] ? 1 : 0;
      alike_[i].coloursMoving += now[i] == looks_[i] ? 1 : 0;
    }
  }
}

}  // namespace tovalin
