#include "engine/detections.h"

#include <gtest/gtest.h>

namespace korvel::svc {
namespace {

ThreatEvent named(const char* name) {
  ThreatEvent event;
  event.name = name;
  return event;
}

std::vector<std::string> namesOf(const std::vector<ThreatEvent>& events) {
  std::vector<std::string> names;
  for (const ThreatEvent& event : events) names.push_back(event.name);
  return names;
}

using Names = std::vector<std::string>;

TEST(Detections, AreHandedOutOnceInTheirOrder) {
  Detections detections;
  detections.add(named("a"));
  detections.add(named("b"));
  EXPECT_EQ(namesOf(detections.take()), (Names{"a", "b"}));
  EXPECT_EQ(namesOf(detections.take()), Names{});
}

TEST(Detections, WhatWasNotTakenComesBackBeforeWhatCameMeanwhile) {
  Detections detections;
  for (const char* name : {"a", "b", "c"}) detections.add(named(name));
  std::vector<ThreatEvent> taken = detections.take();
  detections.add(named("d"));
  detections.putBack(std::move(taken), 1);
  EXPECT_EQ(namesOf(detections.take()), (Names{"b", "c", "d"}));
}

TEST(Detections, NothingComesBackWhenAllWasTaken) {
  Detections detections;
  detections.add(named("a"));
  detections.putBack(detections.take(), 1);
  EXPECT_EQ(namesOf(detections.take()), Names{});
}

TEST(Detections, WhatWasNotDeliveredWaitsOn) {
  Detections detections;
  for (const char* name : {"a", "b", "c"}) detections.add(named(name));
  std::vector<ThreatEvent> events;
  detections.handOut(events, [&] {
    EXPECT_EQ(namesOf(events), (Names{"a", "b", "c"}));
    detections.add(named("d"));
    return size_t{2};
  });
  EXPECT_EQ(namesOf(detections.take()), (Names{"c", "d"}));
}

TEST(Detections, ADeliveryThatThrowsLosesNothing) {
  Detections detections;
  detections.add(named("a"));
  std::vector<ThreatEvent> events;
  const auto fails = []() -> size_t { throw std::bad_alloc(); };
  EXPECT_THROW(detections.handOut(events, fails), std::bad_alloc);
  EXPECT_EQ(namesOf(detections.take()), Names{"a"});
}

TEST(Detections, KeepTheFieldsThatTravelAndNothingElse) {
  ThreatRecord record;
  record.path = L"C:\\a.exe";
  record.name = "name";
  record.code = "CODE";
  record.severity = kSeverityCritical;
  record.size = 5;
  record.sha256 = std::string(64, 'a');
  record.labels = {"label"};
  Detections detections;
  detections.add(record);
  const auto taken = detections.take();
  ASSERT_EQ(taken.size(), 1u);
  const auto& [path, name, code, severity, size] = taken[0];  // does not compile with one field more
  EXPECT_EQ(path, L"C:\\a.exe");
  EXPECT_EQ(name, "name");
  EXPECT_EQ(code, "CODE");
  EXPECT_EQ(severity, kSeverityCritical);
  EXPECT_EQ(size, 5u);
}

}  // namespace
}  // namespace korvel::svc
