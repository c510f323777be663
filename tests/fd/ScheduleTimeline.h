// Scheduling tests state their activities and the pruning they expect as
// small timelines, one activity a line, one column a time unit:
//
//   "a: #####.....(2)"   a may run in [0, 10) for 5 units with demand 2
//   "b:    ###"          b runs in [3, 6) (demand 1 when not given)
//
// A window starts at the first mark, ends after the last; '#' counts the
// duration, drawn from the earliest start, '.' the rest of the window.
// run() builds start, duration and demand variables (start in [est, lct -
// duration]), lets the test post its propagators, and draws the windows
// again after propagation (or "fail"), so that a test compares two
// pictures and a failure shows both.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "fd/NuvCPCIntVarI.h"
#include "fd/NuvCPManagerI.h"
#include "host/NuvTrail.h"
#include "host/PimAllocator.h"

namespace nuvtimeline {

struct Activity {
  std::string name;
  int est = 0, lct = 0, dur = 0, demand = 1;
};

inline Activity parse(const std::string& line) {
  Activity a;
  const auto colon = line.find(':');
  a.name = line.substr(0, colon);
  const std::string body = line.substr(colon + 1);
  const auto paren = body.find('(');
  const std::string marks = body.substr(0, paren);
  if (paren != std::string::npos) a.demand = std::stoi(body.substr(paren + 1));
  // Column 0 is the one right after "name: ".
  int first = -1, last = -1;
  for (int k = 1; k < static_cast<int>(marks.size()); ++k)
    if (marks[static_cast<std::size_t>(k)] == '#' || marks[static_cast<std::size_t>(k)] == '.') {
      if (first < 0) first = k - 1;
      last = k - 1;
      a.dur += marks[static_cast<std::size_t>(k)] == '#';
    }
  a.est = first;
  a.lct = last + 1;
  return a;
}

inline std::string draw(const Activity& a) {
  std::string s = a.name + ": " + std::string(static_cast<std::size_t>(a.est), ' ') +
                  std::string(static_cast<std::size_t>(a.dur), '#') +
                  std::string(static_cast<std::size_t>(a.lct - a.est - a.dur), '.');
  if (a.demand != 1) s += "(" + std::to_string(a.demand) + ")";
  return s;
}

inline std::string draw(const std::vector<std::string>& lines) {
  std::string out;
  for (const std::string& l : lines) out += draw(parse(l)) + "\n";
  return out;
}

struct Vars {
  std::vector<NuvCPIntVarI*> start, duration, demand;
};

// Posts through `post` (the store's status after it) and draws the result.
inline std::string run(const std::vector<std::string>& lines,
                       const std::function<int(NuvCPManagerI&, Vars&)>& post) {
  PimArenaAllocator arena;
  NuvTrailI trail;
  NuvCPManagerI store(&arena, &trail);
  std::vector<Activity> acts;
  Vars v;
  auto var = [&](int lo, int hi) -> NuvCPIntVarI* { return nuvCPNew<NuvCPCIntVarI>(&arena, &arena, &store, lo, hi); };
  for (const std::string& l : lines) {
    acts.push_back(parse(l));
    const Activity& a = acts.back();
    v.start.push_back(var(a.est, a.lct - a.dur));
    v.duration.push_back(var(a.dur, a.dur));
    v.demand.push_back(var(a.demand, a.demand));
  }
  if (post(store, v) == 0) return "fail\n";
  std::string out;
  for (std::size_t i = 0; i < acts.size(); ++i) {
    Activity a = acts[i];
    a.est = v.start[i]->getMin();
    a.lct = v.start[i]->getMax() + a.dur;
    out += draw(a) + "\n";
  }
  return out;
}

}  // namespace nuvtimeline
