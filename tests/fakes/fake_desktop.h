#pragma once

// The ports of the user's desktop session: permissions, lock, login item, other instances, power,
// looks.

#include <algorithm>
#include <atomic>
#include <functional>
#include <list>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "platform/appearance.h"
#include "platform/login_item.h"
#include "platform/login_session.h"
#include "platform/permissions.h"
#include "platform/power.h"
#include "platform/running_applications.h"

namespace tovalin::fake {

class FakePermissions : public Permissions {
 public:
  bool preflightScreenCapture() const override { return screenCapture; }
  void requestScreenCapture() override { calls.emplace_back("requestScreenCapture"); }
  bool isTrusted() const override { return trusted; }
  void requestTrustedWithPrompt() override { calls.emplace_back("requestTrustedWithPrompt"); }
  void openScreenCaptureSettings() override { calls.emplace_back("openScreenCaptureSettings"); }

  std::atomic<bool> screenCapture = true;
  std::atomic<bool> trusted = true;
  std::vector<std::string> calls;
};

class FakeLoginSession : public LoginSession {
 public:
  std::optional<nlohmann::json> currentDictionary() const override { return dictionary; }

  std::unique_ptr<Subscription> onDidWake(std::function<void()> observer) override {
    observers_.push_back(std::move(observer));
    return std::make_unique<Observation>(observers_, std::prev(observers_.end()));
  }

  void lock(bool locked) { dictionary = nlohmann::json{{kSessionScreenIsLocked, locked}}; }
  void wake() {
    for (const auto& observer : std::list(observers_)) observer();
  }

  std::optional<nlohmann::json> dictionary = nlohmann::json::object();

 private:
  using Observers = std::list<std::function<void()>>;
  struct Observation : Subscription {
    Observation(Observers& observers, Observers::iterator place) : all(observers), own(place) {}
    ~Observation() override { all.erase(own); }
    Observers& all;
    Observers::iterator own;
  };

  Observers observers_;
};

class FakeLoginItem : public LoginItem {
 public:
  std::optional<Error> registerItem() override {
    ++registrations;
    if (failure.empty()) enabled = true;
    return result();
  }
  std::optional<Error> unregisterItem() override {
    if (failure.empty()) enabled = false;
    return result();
  }
  bool isEnabled() const override { return enabled; }

  bool enabled = false;
  std::string failure;  // not empty: every change fails with it
  int registrations = 0;

 private:
  std::optional<Error> result() const {
    return failure.empty() ? std::nullopt : std::optional(Error{failure});
  }
};

class FakeRunningApplications : public RunningApplications {
 public:
  int ownProcessId() const override { return 100; }
  std::vector<int> processIds(std::string_view bundleIdentifier) const override {
    askedFor = bundleIdentifier;
    return running;
  }
  void activate(int processId) override { note("activate " + std::to_string(processId)); }
  std::unique_ptr<Subscription> onActivate(std::function<void()> observer) override {
    auto own = std::make_shared<std::function<void()>>(std::move(observer));
    observers_.push_back(own);
    return std::make_unique<Observation>(std::move(own));
  }
  void terminate() override {
    ++terminations;
    note("terminate");
  }

  // Another process asks this one to show itself.
  void askedToShow() {
    for (const auto& observer : observers_) {
      if (const auto alive = observer.lock()) (*alive)();
    }
  }
  long activationObservers() const {
    return std::count_if(observers_.begin(), observers_.end(),
                         [](const auto& observer) { return !observer.expired(); });
  }

  std::vector<int> running = {100};
  int terminations = 0;
  mutable std::string askedFor;
  std::function<void(const std::string& call)> onCall;  // told of each change asked for, if set

 private:
  using Observer = std::function<void()>;
  struct Observation : Subscription {
    explicit Observation(std::shared_ptr<Observer> observer) : own(std::move(observer)) {}
    std::shared_ptr<Observer> own;
  };

  void note(const std::string& call) const {
    if (onCall) onCall(call);
  }

  std::vector<std::weak_ptr<Observer>> observers_;
};

class FakePower : public Power {
 public:
  struct Assertion {
    std::string type;
    int level = 0;
    std::string name;
  };

  AssertionId createAssertion(std::string_view type, int level, std::string_view name) override {
    created.push_back({std::string(type), level, std::string(name)});
    if (refuses) return 0;
    held.insert(++lastId_);
    return lastId_;
  }
  void releaseAssertion(AssertionId id) override {
    ++releases;
    held.erase(id);
  }
  void declareUserActivity(std::string_view name) override { activities.emplace_back(name); }

  std::vector<Assertion> created;
  std::set<AssertionId> held;
  std::vector<std::string> activities;
  int releases = 0;
  bool refuses = false;

 private:
  AssertionId lastId_ = 0;
};

class FakeAppearance : public Appearance {
 public:
  std::optional<ColorScheme> current() const override { return scheme; }

  std::unique_ptr<Subscription> onChange(Observer observer) override {
    observers_.push_back(std::move(observer));
    return std::make_unique<Observation>(observers_, std::prev(observers_.end()));
  }

  void change(std::optional<ColorScheme> now) {
    scheme = now;
    for (const auto& observer : std::list(observers_)) observer(now);
  }
  size_t observerCount() const { return observers_.size(); }

  std::optional<ColorScheme> scheme;

 private:
  struct Observation : Subscription {
    Observation(std::list<Observer>& observers, std::list<Observer>::iterator place)
        : all(observers), own(place) {}
    ~Observation() override { all.erase(own); }
    std::list<Observer>& all;
    std::list<Observer>::iterator own;
  };

  std::list<Observer> observers_;
};

}  // namespace tovalin::fake
