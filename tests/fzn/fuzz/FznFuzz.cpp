// libFuzzer entry: any input must either parse or raise PimExecutionError;
// a parsed model is also walked through the resolution helpers the builder
// uses, so their checks are fuzzed too.
//
//   CXX=clang++ cmake -S . -B build-fuzz -G Ninja -DNUVFD_FUZZ=ON -DNUVFD_TESTS=OFF
//   cmake --build build-fuzz --target fzn_fuzz
//   mkdir -p /tmp/corpus
//   build-fuzz/fzn_fuzz /tmp/corpus tests/fzn/data -dict=tests/fzn/fuzz/fzn.dict
//       -max_total_time=300 -timeout=5   (on the same line)
//
// A crash or hang it reports becomes a case in tests/fzn/FznErrorTest.cpp.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "fzn/FznParser.h"

namespace {

void exercise(const FznModel& model, const FznExpr& e) {
  try {
    const FznExpr& v = model.deref(e);
    (void)model.describe(v);
    if (v.kind == FznExprKind::Array ||
        (v.kind == FznExprKind::Ident && model.declOf(v).isArray())) {
      for (const FznExpr& item : model.arrayElements(v)) (void)model.deref(item);
      (void)model.intArrayValue(v);
    } else {
      (void)model.intValue(v);
    }
  } catch (const PimExecutionError&) {
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string_view text(reinterpret_cast<const char*>(data), size);
  try {
    FznModel model = parseFznString(text, "fuzz.fzn");
    for (const FznDecl& d : model.decls)
      if (d.value) exercise(model, *d.value);
    for (const FznConstraint& c : model.constraints)
      for (const FznExpr& a : c.args) exercise(model, a);
    if (model.solve.objective) exercise(model, *model.solve.objective);
    for (const FznExpr& a : model.solve.annotations)
      for (const FznExpr& arg : a.items) exercise(model, arg);
  } catch (const PimExecutionError&) {
  }
  return 0;
}
