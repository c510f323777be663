#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <sstream>

#include "host/NuvTrail.h"
#include "host/PimAllocator.h"
#include "host/PimArchiver.h"
#include "host/PimError.h"

namespace {

// A record with a few words and a child, archived the way module classes do.
struct Node : PimDataI {
  explicit Node(PimAllocator* a) : PimDataI(a) {}
  std::int32_t a = 0;
  std::int64_t b = 0;
  double c = 0;
  std::string name;
  Node* child = nullptr;
  static constexpr int kTag = 42;
  int getDataId() const override { return kTag; }
  void archive(PimArchiver& ar) const override {
    ar.sendInt32(a);
    ar.sendInt64(b);
    ar.sendDouble(c);
    ar.sendString(name);
    ar.sendObject(child);
  }
  void unarchive(PimArchiver& ar) override {
    a = ar.receiveInt32();
    b = ar.receiveInt64();
    c = ar.receiveDouble();
    name = ar.receiveString();
    child = static_cast<Node*>(ar.receiveObject());
  }
  void mark(PimMarker& m) override { m.mark(child); }
};

PimArchiveRegistry registry() {
  PimArchiveRegistry r;
  r.add(Node::kTag, [](PimAllocator* a) -> PimDataI* { return new (a->allocate(sizeof(Node))) Node(a); });
  return r;
}

void expectSameTree(const Node* x, const Node* y) {
  ASSERT_NE(y, nullptr);
  EXPECT_EQ(x->a, y->a);
  EXPECT_EQ(x->b, y->b);
  EXPECT_EQ(x->c, y->c);
  EXPECT_EQ(x->name, y->name);
  if (x->child) expectSameTree(x->child, y->child);
  else EXPECT_EQ(y->child, nullptr);
}

TEST(Archiver, RoundTripThroughMemoryAndFile) {
  PimArenaAllocator arena;
  Node leaf(&arena), root(&arena);
  leaf.a = -7;
  leaf.b = INT64_MIN;
  leaf.c = 1e-8;
  leaf.name = "leaf";
  root.a = 1;
  root.b = 1LL << 40;
  root.c = -2.5;
  root.child = &leaf;
  PimArchiveRegistry reg = registry();

  PimMemorySocket mem;
  PimArchiver out(mem, &arena, &reg);
  out.sendObject(&root);
  out.sendObject(nullptr);
  PimArchiver in(mem, &arena, &reg);
  expectSameTree(&root, static_cast<Node*>(in.receiveObject()));
  EXPECT_EQ(in.receiveObject(), nullptr);
  EXPECT_THROW(in.receiveInt32(), PimExecutionError) << "reading past the end";

  auto path = std::filesystem::temp_directory_path() / ("nuvfd-archive-" + std::to_string(::getpid()));
  {
    PimFileSocket f(path.string(), "wb");
    PimArchiver ar(f, &arena, &reg);
    ar.sendObject(&root);
  }
  {
    PimFileSocket f(path.string(), "rb");
    PimArchiver ar(f, &arena, &reg);
    expectSameTree(&root, static_cast<Node*>(ar.receiveObject()));
  }
  std::filesystem::remove(path);
  EXPECT_THROW(PimFileSocket("/nonexistent/dir/x", "rb"), PimExecutionError);
}

TEST(Archiver, UnknownTagAndTruncationAreErrors) {
  PimArenaAllocator arena;
  PimArchiveRegistry reg = registry();
  PimMemorySocket mem;
  PimArchiver ar(mem, &arena, &reg);
  ar.sendInt32(99);
  EXPECT_THROW(ar.receiveObject(), PimExecutionError);
  PimMemorySocket cut;
  PimArchiver w(cut, &arena, &reg);
  w.sendInt32(Node::kTag);
  w.sendInt32(1);  // the rest of the record is missing
  EXPECT_THROW(w.receiveObject(), PimExecutionError);
}

// A store that references a list of nodes, one of them unreachable.
struct MiniStore : PimStoreI {
  using PimStoreI::PimStoreI;
  Node* head = nullptr;
  void mark(PimMarker& m) override { m.mark(head); }
};

TEST(MarkPass, ReachesTheStoresLiveObjectsOnly) {
  PimArenaAllocator arena;
  NuvTrailI trail;
  MiniStore store(&arena, &trail);
  Node a(&arena), b(&arena), c(&arena), orphan(&arena);
  store.head = &a;
  a.child = &b;
  b.child = &c;
  c.child = &a;  // cycles are fine
  unsigned colour = store.markReachable();
  for (Node* n : {&a, &b, &c}) EXPECT_TRUE(n->isMarked(colour));
  EXPECT_FALSE(orphan.isMarked(colour));
  EXPECT_EQ(a.allocator(), &arena) << "marking keeps the allocator word intact";
  // The next pass uses the other colour, so nothing needs clearing.
  b.child = nullptr;
  unsigned next = store.markReachable();
  EXPECT_NE(next, colour);
  EXPECT_TRUE(b.isMarked(next));
  EXPECT_FALSE(c.isMarked(next));
}

}  // namespace
