// Record tags: every handle's first field, checked at entry so that a wrong
// kind of handle is a usage error instead of a crash.
#pragma once

#include <cstdint>

namespace orv {

enum class Tag : std::uint32_t {
  dead = 0,
  domain = 0x4f44304du,  // the same record head serves classes
  class_record = 0x4f43304du,
  node = 0x4f4e304du,
  table = 0x4f54304du,
  clique = 0x4f51304du,
  junction_tree = 0x4f4a304du,
  expression = 0x4f45304du,
  model = 0x4f4d304du,
  attribute = 0x4f41304du,
  data_set = 0x4f53304du,
};

struct Tagged;
// Installed by the Java binding when it first attaches a peer: releases the
// record's reference to its Java peer (and zeroes the peer's handle field).
using PeerRelease = void (*)(Tagged *record) noexcept;
extern PeerRelease peer_release;

// Base of every record that crosses the API.
struct Tagged {
  explicit Tagged(Tag t) : tag(t) {}
  Tagged(const Tagged &) = delete;
  Tagged &operator=(const Tagged &) = delete;
  ~Tagged() {
    if (java_peer) peer_release(this);
    tag = Tag::dead;
  }
  Tag tag;
  // The Java binding's global reference to this record's peer, or null;
  // copies and clones never share it.
  void *java_peer = nullptr;
};

// Owned state that lower layers hold but higher layers define (compiled
// structures, caches). Destroying it is the whole of "discard".
struct Attachment {
  virtual ~Attachment() = default;
};

}  // namespace orv
