// libFuzzer entry: any input must either be refused with PimExecutionError
// (a message with a position) or parse, build into a store and survive a few
// nodes of search. Anything else (a crash, a sanitizer report, another
// exception type, an error without a position) is a finding.
//
// How to build and run it: the README's Fuzzing section.
//
// A crash or hang it reports becomes a case in tests/fzn/FznErrorTest.cpp.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "fd/NuvCPManager.h"
#include "fd/NuvCPModule.h"
#include "fzn/FznBuilder.h"
#include "fzn/FznParser.h"
#include "host/Rav.h"
#include "search/NuvSearch.h"

namespace {

// An error must say where: a file and a line of the input.
void checkLocated(const PimExecutionError& e) {
  if (e.source().file != "fuzz.fzn" || e.source().line < 1) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string_view text(reinterpret_cast<const char*>(data), size);
  FznModel model;
  try {
    model = parseFznString(text, "fuzz.fzn");
  } catch (const PimExecutionError& e) {
    checkLocated(e);
    return 0;
  }
  RavProgram program;
  program.getMgr()->setTraceLevel(-1);
  nuvfdModuleRegistry(&program, nullptr);
  RavRuntime rt(program);
  NuvNativeObject* storeObject = rt.create("CP$Store", 0);
  auto* store = static_cast<NuvCPManager*>(storeObject);
  FznBuilder builder(model, rt, storeObject);
  bool consistent = false;
  try {
    consistent = builder.build();
  } catch (const PimExecutionError& e) {
    checkLocated(e);
    return 0;
  }
  if (!consistent) return 0;
  // A few nodes run the posted propagators over real decisions.
  NuvSearch search(store->store(), store->trail());
  for (const FznSearchPhase& p : builder.phases()) {
    NuvSearchPhase phase;
    phase.vars = p.vars;
    search.addPhase(std::move(phase));
  }
  NuvSearchPhase rest;
  rest.vars = builder.modelVars();
  search.addPhase(std::move(rest));
  if (builder.objective())
    search.setObjective(builder.objective(), model.solve.kind == FznSolveKind::Maximize);
  NuvSearchLimits limits;
  limits.nodes = 64;
  limits.solutions = 2;
  search.solve(limits, [] { return true; });
  return 0;
}
