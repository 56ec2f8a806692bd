#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

namespace tovalin {

// Lends the keycodes that the keyboard mapping leaves unused to characters that no key has, the
// longest unused first. Programs look a keycode's symbol up when they get to its event, not when it
// happens, so a keycode keeps its symbol for a while after each use.
//
// Pure: the caller changes the mapping and does the waiting.
class KeyboardSpares {
 public:
  using Time = std::chrono::steady_clock::time_point;
  using Duration = std::chrono::steady_clock::duration;

  // How long a keycode is left alone after its use.
  static constexpr std::chrono::milliseconds kQuietTime{200};

  struct Loan {
    uint8_t keycode = 0;
    bool isNew = false;  // the keycode does not carry the symbol yet
    Duration wait{};     // not zero: nothing is lent yet; ask again after that time

    bool operator==(const Loan&) const = default;
  };

  // Replaces the keycodes to lend, as the mapping says now. Loans survive where `stillCarries`
  // says that their keycode has nothing but their symbol; others are forgotten.
  void follow(const std::vector<uint8_t>& unused,
              const std::function<bool(uint8_t keycode, uint32_t keysym)>& stillCarries);

  // A keycode for `keysym`, its own if it has one. Absent when the mapping leaves none unused.
  std::optional<Loan> lend(uint32_t keysym, Time now);
  // The keycode's events had happened by `now`; its quiet time begins.
  void used(uint8_t keycode, Time now);

  bool hasLoans() const;
  bool isLent(uint8_t keycode) const;

  // Takes every loan back; the caller gives these keycodes their emptiness again.
  std::vector<uint8_t> takeBack();

 private:
  struct Spare {
    uint8_t keycode = 0;
    uint32_t keysym = 0;  // 0: not lent
    Time lastUse{};
  };

  std::vector<Spare> spares_;
};

}  // namespace tovalin
