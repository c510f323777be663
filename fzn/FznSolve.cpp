#include "fzn/FznSolve.h"

#include <chrono>
#include <cstdint>
#include <ostream>
#include <sstream>
#include <string>

#include "fd/NuvCPBoolVarI.h"
#include "fd/NuvCPManager.h"
#include "fd/NuvCPManagerI.h"
#include "fd/NuvCPModule.h"
#include "fzn/FznBuilder.h"
#include "fzn/FznOutput.h"
#include "fzn/FznParser.h"
#include "host/Rav.h"
#include "search/NuvSearch.h"

namespace {

std::string fixed3(double seconds) {
  std::ostringstream os;
  os.setf(std::ios::fixed);
  os.precision(3);
  os << seconds;
  return os.str();
}

}  // namespace

int fznRun(const FznOptions& options, std::ostream& out, std::ostream& err,
           const std::atomic<bool>* stop) {
  const auto start = std::chrono::steady_clock::now();
  if (options.threads > 1)
    err << "fzn-nuvfd: -p " << options.threads << " accepted; the search uses one worker\n";
  FznModel model = parseFznFile(options.file);

  RavProgram program;
  program.getMgr()->setTraceLevel(-1);  // stdout carries solutions only
  PimPropertyDict properties;
  nuvfdModuleRegistry(&program, &properties);
  RavRuntime rt(program);
  NuvNativeObject* storeObject = rt.create("CP$Store", 0);
  auto* store = static_cast<NuvCPManager*>(storeObject);

  FznBuilder builder(model, rt, storeObject);
  const bool consistent = builder.build();
  for (const std::string& w : builder.warnings()) err << w << "\n";
  const double initTime =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();

  // The model is complete: lay the propagator lists out for the search.
  if (consistent) nuvCPCompactLists(store->store());
  NuvSearch search(store->store(), store->trail());
  search.setSeed(options.seed);
  if (!options.freeSearch)
    for (const FznSearchPhase& p : builder.phases()) {
      NuvSearchPhase phase;
      phase.vars = p.vars;
      if (!nuvVarSelectFromName(p.varSelect, phase.varSelect))
        err << model.source(p.pos).toString() << ": warning: variable selection '" << p.varSelect
            << "' unknown, input_order used\n";
      if (!nuvValSelectFromName(p.valSelect, phase.valSelect))
        err << model.source(p.pos).toString() << ": warning: value selection '" << p.valSelect
            << "' unknown, indomain_min used\n";
      search.addPhase(std::move(phase));
    }
  // Whatever the annotations leave unbound (everything, without them or with
  // -f) is labelled after them by dom/wdeg, smallest value first, so that
  // every solution printed is complete. The variables that tell answers
  // apart (printed or declared by the model itself) are searched in full;
  // the ones flattening introduced are only completed, so that each answer
  // is printed once.
  const NuvVarSelect restSelect = NuvVarSelect::DomWDeg;
  NuvSearchPhase decisions;
  decisions.vars = builder.decisionVars();
  decisions.varSelect = restSelect;
  search.addPhase(std::move(decisions));
  NuvSearchPhase rest;
  rest.vars = builder.modelVars();
  rest.varSelect = restSelect;
  rest.complete = false;
  search.addPhase(std::move(rest));

  const bool optimising = builder.objective() != nullptr;
  if (optimising)
    search.setObjective(builder.objective(), model.solve.kind == FznSolveKind::Maximize);

  NuvSearchLimits limits;
  // The time limit counts from the start of the run: whoever set it (the
  // MiniZinc driver kills the solver a second after it) counts so too.
  if (options.timeLimitMs > 0) {
    const auto spent = static_cast<std::int64_t>(initTime * 1000);
    limits.timeMs = options.timeLimitMs > spent ? options.timeLimitMs - spent : 1;
  }
  limits.nodes = options.nodeLimit;
  limits.failures = options.failLimit;
  limits.stop = stop;
  // -n N bounds the solutions printed, with or without -a (0: no bound).
  if (!optimising)
    limits.solutions = options.solutions >= 0 ? options.solutions : options.allSolutions ? 0 : 1;
  const bool printEach = !optimising || options.allSolutions || options.intermediate;

  // Output is written only here, in the main flow, never from a signal
  // handler (a signal only sets `stop`): each solution whole, in one write,
  // flushed at once; then the best solution (when only that one is
  // printed), the status and the statistics together, once.
  // The best solution's values, when only that one is printed.
  std::vector<std::int64_t> last;
  NuvSearch::Outcome outcome = NuvSearch::Outcome::Exhausted;
  if (consistent) {
    // One stream for every solution printed: building a stream costs more
    // than printing a few numbers.
    std::ostringstream os;
    outcome = search.solve(limits, [&] {
      if (printEach) {
        os.str(std::string());
        fznPrintSolution(os, builder.outputs());
        const std::string text = os.str();
        out.write(text.data(), static_cast<std::streamsize>(text.size()));
        out.flush();
      } else {
        fznCaptureSolution(builder.outputs(), last);
      }
      return true;
    });
  }
  std::ostringstream tail;
  if (!printEach && search.stats().solutions > 0) fznPrintSolution(tail, builder.outputs(), last);

  const NuvSearchStats& st = search.stats();
  if (outcome == NuvSearch::Outcome::Exhausted)
    tail << (st.solutions > 0 ? kFznComplete : kFznUnsat) << "\n";
  else if (st.solutions == 0)
    tail << kFznUnknown << "\n";
  if (options.stats) {
    std::vector<FznStat> stats = {
        {"initTime", fixed3(initTime)},
        {"solveTime", fixed3(st.seconds)},
        {"solutions", std::to_string(st.solutions)},
        {"variables", std::to_string(store->store()->intVarCount())},
        {"propagators", std::to_string(builder.constraintCount())},
        {"propagations", std::to_string(st.propagations)},
        {"nodes", std::to_string(st.nodes)},
        {"failures", std::to_string(st.failures)},
        {"peakDepth", std::to_string(st.peakDepth)},
    };
    if (optimising && st.solutions > 0) stats.push_back({"objective", std::to_string(search.best())});
    fznPrintStats(tail, stats);
  }
  const std::string text = tail.str();
  out.write(text.data(), static_cast<std::streamsize>(text.size()));
  out.flush();
  return 0;
}
