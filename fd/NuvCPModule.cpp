#include "fd/NuvCPModule.h"

#include <iostream>
#include <sstream>
#include <string>
#include <typeinfo>

#include "fd/NuvCPDomain.h"
#include "fd/NuvCPIntVar.h"
#include "fd/NuvCPManager.h"
#include "fd/NuvCPBitVar.h"
#include "fd/NuvCPConstraintI.h"
#include "fd/NuvCPAdapter.h"
#include "fd/NuvCPAllDiff.h"
#include "fd/NuvCPAmong.h"
#include "fd/NuvCPArith.h"
#include "fd/NuvCPAutomaton.h"
#include "fd/NuvCPBalance.h"
#include "fd/NuvCPCardinality.h"
#include "fd/NuvCPBinPacking.h"
#include "fd/NuvCPCircuit.h"
#include "fd/NuvCPKnapsack.h"
#include "fd/NuvCPMinAssignment.h"
#include "fd/NuvCPSpanningTree.h"
#include "fd/NuvCPLex.h"
#include "fd/NuvCPArithI.h"
#include "fd/NuvCPElement.h"
#include "fd/NuvCPFunctionalTable.h"
#include "fd/NuvCPElementI.h"
#include "fd/NuvCPInverse.h"
#include "fd/NuvCPLinEquation.h"
#include "fd/NuvCPLinEquationI.h"
#include "fd/NuvCPNative.h"
#include "fd/NuvCPObjective.h"
#include "fd/NuvCPObjectiveI.h"
#include "fd/NuvCPRelation.h"
#include "fd/NuvCPSolutionI.h"
#include "fd/NuvCPTable.h"
#include "fd/NuvCPBreak.h"
#include "fd/NuvCPPrecedenceGraph.h"
#include "fd/NuvCPTimeTable.h"
#include "fd/NuvCPRank.h"
#include "fd/NuvCPShaving.h"
#include "fd/NuvCPUnary.h"
#include "fd/NuvCPPrecedenceEnergyI.h"
#include "fd/NuvCPRegularI.h"
#include "fd/NuvCPNotFirstLastI.h"
#include "fd/NuvCPDetectablePrecedencesI.h"
#include "fd/NuvCPEdgeFinderI.h"
#include "fd/NuvCPUnaryI.h"
#include "fd/NuvCPDiscreteEdgeFinderI.h"
#include "fd/NuvCPAllDiffI.h"
#include "fd/NuvCPTableI.h"
#include "fd/NuvCPInverseI.h"
#include "fd/NuvCPRelationI.h"
#include "host/Rav.h"

namespace {

using FactoryMaker = NuvInstanceFactory* (*)(PimAllocator*, const char* name);

struct ClassRow {
  const char* name;
  FactoryMaker make;
};

// A class whose family is not built yet: registered under its name so that
// scripts find it, but creating one is an error that says so.
NuvInstanceFactory* unavailable(PimAllocator* a, const char* name) {
  return pimCreate<NuvCPUnavailable::Factory>(a, a, name);
}

template <class T>
NuvInstanceFactory* factory(PimAllocator* a, const char* name) {
  return pimCreate<typename T::Factory>(a, a, name);
}

// The native classes in registration order. The modeling language finds them
// by these exact strings ("CPPEA" has no "$"; "CP$circuit" and "CP$pairLink"
// start in lower case).
const ClassRow kClasses[] = {
    {"CP$Store", factory<NuvCPManager>},
    {"CP$VarInt", factory<NuvCPIntVar>},
    {"CP$VarBool", factory<NuvCPBoolVar>},
    {"CP$VarFloat", unavailable},
    {"CP$CExpr", nuvCPArithFactory},
    {"CP$Equal", nuvCPRelationFactory},
    {"CP$TernaryEqual", nuvCPArithFactory},
    {"CP$LEqual", nuvCPRelationFactory},
    {"CP$SLEqual", nuvCPRelationFactory},
    {"CP$NEqual", nuvCPRelationFactory},
    {"CP$Equalc", nuvCPRelationFactory},
    {"CP$NEqualc", nuvCPRelationFactory},
    {"CP$LEqualc", nuvCPRelationFactory},
    {"CP$GEqualc", nuvCPRelationFactory},
    {"CP$ReifyEqualc", nuvCPRelationFactory},
    {"CP$ReifyNEqualc", nuvCPRelationFactory},
    {"CP$ReifyLEqualc", nuvCPRelationFactory},
    {"CP$ReifyGEqualc", nuvCPRelationFactory},
    {"CP$ReifyEqual", nuvCPRelationFactory},
    {"CP$ReifyNEqual", nuvCPRelationFactory},
    {"CP$ReifyLEqual", nuvCPRelationFactory},
    {"CP$ReifyGEqual", nuvCPRelationFactory},
    {"CP$LogicOr", nuvCPRelationFactory},
    {"CP$LogicAnd", nuvCPRelationFactory},
    {"CP$LogicImply", nuvCPRelationFactory},
    {"CP$Cardinality", nuvCPCardinalityFactory},
    {"CP$SoftCardinality", nuvCPCardinalityFactory},
    {"CP$SoftAtLeast", nuvCPAmongFactory},
    {"CP$SoftAtMost", nuvCPAmongFactory},
    {"CP$SetCardinality", unavailable},
    {"CP$Stretch", nuvCPAutomatonFactory},
    {"CP$Element", nuvCPElementFactory},
    {"CP$ElementVar", nuvCPElementFactory},
    {"CP$ElementVarSorted", nuvCPElementFactory},
    {"CP$AllDiff", nuvCPAllDiffFactory},
    {"CP$AtLeastNValue", nuvCPAmongFactory},
    {"CP$SumBoolEqual", nuvCPLinearFactory},
    {"CP$SumBoolEqualCst", nuvCPLinearFactory},
    {"CP$LinearEquation", nuvCPLinearFactory},
    {"CP$FLinearEquation", unavailable},
    {"CP$LinearPNEquation", nuvCPLinearFactory},
    {"CP$LinearPNEquationC", nuvCPLinearFactory},
    {"CP$LinearGEQ", nuvCPLinearFactory},
    {"CP$EqualAC", nuvCPRelationFactory},
    {"CP$Pair", nuvCPFunctionalTableFactory},
    {"CP$LexLeq", nuvCPLexFactory},
    {"CP$Minimize", nuvCPObjectiveFactory},
    {"CP$Domain", factory<NuvCPDomain>},
    {"CP$Adapter", nuvCPAdapterFactory},
    {"CP$Mult", nuvCPArithFactory},
    {"CP$Square", nuvCPArithFactory},
    {"CP$circuit", nuvCPCircuitFactory},
    {"CP$NoCycle", nuvCPCircuitFactory},
    {"CP$Inverse", nuvCPInverseFactory},
    {"CP$pairLink", nuvCPFunctionalTableFactory},
    {"CP$MultiFunctionalTable", nuvCPFunctionalTableFactory},
    {"CP$MultiFunctionalTableCstr", nuvCPFunctionalTableFactory},
    {"CP$FunctionalTable", nuvCPFunctionalTableFactory},
    {"CP$FunctionalTableCstr", nuvCPFunctionalTableFactory},
    {"CP$Table", nuvCPTableFactory},
    {"CP$TableCstr", nuvCPTableFactory},
    {"CP$BinPacking", nuvCPBinPackingFactory},
    {"CP$BinPackingLB", nuvCPBinPackingFactory},
    {"CP$SequenceLink", nuvCPAmongFactory},
    {"CP$BinaryKnapsackAC", nuvCPKnapsackFactory},
    {"CP$SparseBinaryKnapsackAC", nuvCPKnapsackFactory},
    {"CP$LightBinaryKnapsack", nuvCPKnapsackFactory},
    {"CP$MinAssignment", nuvCPMinAssignmentFactory},
    {"CP$FloatMinAssignment", unavailable},
    {"CP$MinSpanningTree", nuvCPSpanningTreeFactory},
    {"CP$Deviation", nuvCPBalanceFactory},
    {"CP$Spread", nuvCPBalanceFactory},
    {"CP$TimeTable", nuvCPTimeTableResourceFactory},
    {"CP$TimeTableCstr", nuvCPTimeTableFactory},
    {"CP$TimeTableCapCstr", nuvCPTimeTableFactory},
    {"CP$TimeTableCapOptionalCstr", nuvCPTimeTableFactory},
    {"CP$TimeTableMinCstr", nuvCPTimeTableMinFactory},
    {"CP$TimeTableMinCapCstr", nuvCPTimeTableMinFactory},
    {"CP$TakeCapacityCstr", nuvCPReservoirFactory},
    {"CP$GiveCapacityCstr", nuvCPReservoirFactory},
    {"CP$TakeMinCapacityCstr", nuvCPReservoirFactory},
    {"CP$GiveMinCapacityCstr", nuvCPReservoirFactory},
    {"CP$NotFirstCstr", nuvCPUnaryFactory},
    {"CP$NotFirstOptionalCstr", nuvCPUnaryFactory},
    {"CP$NotLastCstr", nuvCPUnaryFactory},
    {"CP$NotLastOptionalCstr", nuvCPUnaryFactory},
    {"CP$RankFirstCstr", nuvCPRankFactory},
    {"CP$RankFirstOptionalCstr", nuvCPRankFactory},
    {"CP$RankCstr", nuvCPRankFactory},
    {"CP$RankOptionalCstr", nuvCPRankFactory},
    {"CP$RankTransitionCstr", nuvCPRankFactory},
    {"CP$RankOptionalTransitionCstr", nuvCPRankFactory},
    {"CP$RankTransitionSuccCstr", nuvCPRankFactory},
    {"CP$DisjunctiveCstr", nuvCPUnaryFactory},
    {"CP$OptionalDisjunctiveCstr", nuvCPUnaryFactory},
    {"CP$DisjunctiveTransitionCstr", nuvCPUnaryFactory},
    {"CP$DisjunctiveTransitionPrecedenceCstr", nuvCPUnaryFactory},
    {"CP$DisjunctiveTransitionTimesCstr", nuvCPUnaryFactory},
    {"CP$EdgeFinder", nuvCPUnaryFactory},
    {"CP$OptionalEdgeFinder", nuvCPUnaryFactory},
    {"CP$UnaryBreakUR", nuvCPBreakFactory},
    {"CP$UnaryBreakURBreakable", nuvCPBreakFactory},
    {"CP$UnaryPeriodicBreak", nuvCPBreakFactory},
    {"CP$UnaryPeriodicBreakBreakable", nuvCPBreakFactory},
    {"CP$DetectablePrecedencesCstr", nuvCPUnaryFactory},
    {"CP$DetectablePrecedencesWOCstr", nuvCPUnaryFactory},
    {"CP$ShavingEdgeFinder", nuvCPShavingFactory},
    {"CP$Shaving", nuvCPShavingFactory},
    {"CP$DiscreteEdgeFinder", nuvCPTimeTableFactory},
    {"CPPEA", nuvCPPrecedenceEnergyFactory},
    {"CP$PrecedenceGraphClosure", nuvCPPrecedenceGraphFactory},
    {"CP$BitVar", factory<NuvCPBitVar>},
    {"CP$VarSetInt", unavailable},
    {"CP$SetGlobalCardinality", unavailable},
    {"CP$SetDisjoint", unavailable},
    {"CP$SetAtmostIntersection", unavailable},
    {"CP$SetAtleastIntersection", unavailable},
    {"CP$SetExactIntersection", unavailable},
    {"CP$SetIsRequired", unavailable},
    {"CP$SetIsExcluded", unavailable},
    {"CP$SetRequires", unavailable},
    {"CP$SetExcludes", unavailable},
    {"CP$SetChanneling", unavailable},
    {"CP$SetDisjointChanneling", unavailable},
    {"CP$SetUnion", unavailable},
    {"CP$SetInter", unavailable},
    {"CP$SetDifference", unavailable},
    {"CP$SetEqual", unavailable},
    {"CP$SetSubset", unavailable},
    {"CP$SetSingleton", unavailable},
    {"CP$Automaton", nuvCPAutomatonFactory},
    {"CP$Regular", nuvCPAutomatonFactory},
    {"CP$CostRegular", nuvCPAutomatonFactory},
    {"CP$TrailIntList", factory<NuvCPTrailIntList>},
};
static_assert(sizeof(kClasses) / sizeof(kClasses[0]) == 134);

}  // namespace

void nuvfdModuleRegistry(RavProgram* program, PimPropertyDict*) {
  if (!program) return;
  RavManager* mgr = program->getMgr();
  if (mgr->getTraceLevel() >= 0) std::cout << "Registration in progress(CP)..." << std::endl;
  PimAllocator* a = mgr->allocator();
  // A factory whose allocation fails is registered as null; creating an
  // object of that class then reports the out-of-memory condition.
  for (const ClassRow& row : kClasses) registerClass(row.name, row.make(a, row.name), program);
  nuvCPRegisterArchiveClasses(program->archiveRegistry());
}

// Propagator type -> native class, for handles. Each family adds its rows as
// its native classes are built; a type without a row gets "CP$Adapter".
const char* nuvCPNativeClassOf(const NuvCPDaemonI* c) {
  struct Row {
    const std::type_info* type;
    const char* name;
  };
  static const Row kRows[] = {
      {&typeid(NuvCPEqualBCI), "CP$Equal"},
      {&typeid(NuvCPEqualACI), "CP$EqualAC"},
      {&typeid(NuvCPLEqualI), "CP$LEqual"},
      {&typeid(NuvCPSLEqualI), "CP$SLEqual"},
      {&typeid(NuvCPNEqualI), "CP$NEqual"},
      {&typeid(NuvCPEqualcI), "CP$Equalc"},
      {&typeid(NuvCPNEqualcI), "CP$NEqualc"},
      {&typeid(NuvCPLEqualcI), "CP$LEqualc"},
      {&typeid(NuvCPGEqualcI), "CP$GEqualc"},
      {&typeid(NuvCPReifyEqualcI), "CP$ReifyEqualc"},
      {&typeid(NuvCPReifyNEqualcI), "CP$ReifyNEqualc"},
      {&typeid(NuvCPReifyLEqualcI), "CP$ReifyLEqualc"},
      {&typeid(NuvCPReifyGEqualcI), "CP$ReifyGEqualc"},
      {&typeid(NuvCPReifyEqualBCI), "CP$ReifyEqual"},
      {&typeid(NuvCPReifyEqualACI), "CP$ReifyEqual"},
      {&typeid(NuvCPReifyNEqualI), "CP$ReifyNEqual"},
      {&typeid(NuvCPReifyLEqualI), "CP$ReifyLEqual"},
      {&typeid(NuvCPLogicAndI), "CP$LogicAnd"},
      {&typeid(NuvCPLogicOrI), "CP$LogicOr"},
      {&typeid(NuvCPLogicImplyI), "CP$LogicImply"},
      {&typeid(NuvCPLinearEquationI), "CP$LinearEquation"},
      {&typeid(NuvCPLinearNotEqualI), "CP$LinearEquation"},
      {&typeid(NuvCPLinearEquationReifI), "CP$LinearEquation"},
      {&typeid(NuvCPLinearGEQI), "CP$LinearGEQ"},
      {&typeid(NuvCPLinearGEQReifI), "CP$LinearGEQ"},
      {&typeid(NuvCPLinearPNEquationI), "CP$LinearPNEquation"},
      {&typeid(NuvCPLinearPNEquationCI), "CP$LinearPNEquationC"},
      {&typeid(NuvCPSumBoolEqualCstI), "CP$SumBoolEqualCst"},
      {&typeid(NuvCPSumBoolEqualI), "CP$SumBoolEqual"},
      {&typeid(NuvCPMinimizeI), "CP$Minimize"},
      {&typeid(NuvCPMaximizeI), "CP$Minimize"},
      {&typeid(NuvCPMultI), "CP$Mult"},
      {&typeid(NuvCPBoolTimesI), "CP$Mult"},
      {&typeid(NuvCPAbsI), "CP$CExpr"},
      {&typeid(NuvCPBinaryFunctionI), "CP$CExpr"},
      {&typeid(NuvCPArrayMinMaxI), "CP$CExpr"},
      {&typeid(NuvCPElementBCI), "CP$Element"},
      {&typeid(NuvCPElementACI), "CP$Element"},
      {&typeid(NuvCPElementVarBCI), "CP$ElementVar"},
      {&typeid(NuvCPElementVarACI), "CP$ElementVar"},
      {&typeid(NuvCPElementVarSortedI), "CP$ElementVarSorted"},
      {&typeid(NuvCPPrecedenceEnergyI), "CPPEA"},
      {&typeid(NuvCPNotFirstCstrI), "CP$NotFirstCstr"},
      {&typeid(NuvCPNotLastCstrI), "CP$NotLastCstr"},
      {&typeid(NuvCPNotFirstOptionalCstrI), "CP$NotFirstOptionalCstr"},
      {&typeid(NuvCPNotLastOptionalCstrI), "CP$NotLastOptionalCstr"},
      {&typeid(NuvCPDisjunctiveCstrI), "CP$DisjunctiveCstr"},
      {&typeid(NuvCPOptionalDisjunctiveCstrI), "CP$OptionalDisjunctiveCstr"},
      {&typeid(NuvCPDetectablePrecedencesCstrI), "CP$DetectablePrecedencesCstr"},
      {&typeid(NuvCPDetectablePrecedencesWOCstrI), "CP$DetectablePrecedencesWOCstr"},
      {&typeid(NuvCPEdgeFinderI), "CP$EdgeFinder"},
      {&typeid(NuvCPEdgeFinderPureI), "CP$EdgeFinder"},
      {&typeid(NuvCPEdgeFinderOptionalI), "CP$OptionalEdgeFinder"},
      {&typeid(NuvCPDiscreteEdgeFinderI), "CP$DiscreteEdgeFinder"},
      {&typeid(NuvCPAllDiffI), "CP$AllDiff"},
      {&typeid(NuvCPAllDiffUnitI), "CP$AllDiff"},
      {&typeid(NuvCPAllDiffbI), "CP$AllDiff"},
      {&typeid(NuvCPAllDiffUnitbI), "CP$AllDiff"},
      {&typeid(NuvCPAllDiffcI), "CP$AllDiff"},
      {&typeid(NuvCPAllDiffUnitcI), "CP$AllDiff"},
      {&typeid(NuvCPAllDiffeI), "CP$AllDiff"},
      {&typeid(NuvCPAllDiffUniteI), "CP$AllDiff"},
      {&typeid(NuvCPAllDiffvI), "CP$AllDiff"},
      {&typeid(NuvCPAllDiffBoundsI), "CP$AllDiff"},
      {&typeid(NuvCPAllDifferentACI), "CP$AllDiff"},
      {&typeid(NuvCPAllDiffReifI), "CP$AllDiff"},
      {&typeid(NuvCPTableCstrI), "CP$TableCstr"},
      {&typeid(NuvCPCompactTableI), "CP$TableCstr"},
      {&typeid(NuvCPTableReifI), "CP$TableCstr"},
      {&typeid(NuvCPInverseI), "CP$Inverse"},
  };
  if (!c) return nullptr;
  const std::type_info& t = typeid(*c);
  for (const Row& r : kRows)
    if (r.type && *r.type == t) return r.name;
  // The other families' print forms begin with the class they were built
  // for ("TakeCapacityCstr(3 activities, ...)"), which is how one
  // propagator type serves several classes.
  std::ostringstream os;
  c->print(os);
  const std::string form = os.str();
  const std::string head = form.substr(0, form.find_first_of("( "));
  for (const ClassRow& row : kClasses)
    if (head == row.name || "CP$" + head == row.name) return row.name;
  return nullptr;
}
