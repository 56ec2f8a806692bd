#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "input/input_injector.h"
#include "tests/fakes/fake_desktop.h"
#include "tests/fakes/fake_input_events.h"
#include "tests/fakes/fake_main_queue.h"
#include "tests/fakes/fake_text.h"

namespace tovalin {

// An injector whose display does not begin at the origin, so that a forgotten offset shows.
class InputInjectorFixture : public testing::Test {
 protected:
  InputInjectorFixture() {
    events.display = {100, 50, 800, 600};
    injector->setOnDiagnostic([this](const std::string& text) { diagnostics.push_back(text); });
  }

  void viewerSends(const std::string& message) { injector->handle(nlohmann::json::parse(message)); }

  // What is injected by one message, in words.
  std::vector<std::string> injectedBy(const std::string& message) {
    events.takeLines();
    viewerSends(message);
    return events.takeLines();
  }

  fake::FakeMainQueue queue;
  fake::FakeInputEvents events;
  fake::FakeTextSegmenter segmenter;
  fake::FakePermissions permissions;
  fake::FakePower power;
  std::vector<std::string> diagnostics;
  std::shared_ptr<InputInjector> injector =
      InputInjector::create(queue, events, segmenter, permissions, power);
};

}  // namespace tovalin
