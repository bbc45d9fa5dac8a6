#include "tests/mach_double/ports.h"

#include <chrono>
#include <utility>

#include "tests/mach_double/failures.h"

namespace mach_double {
namespace {

constexpr mach_msg_id_t kSendOnceGone = 0107;  // MACH_NOTIFY_SEND_ONCE

}  // namespace

PortSpace& PortSpace::Get() {
  static PortSpace* const space = new PortSpace;  // threads may outlive static destruction
  return *space;
}

PortSpace::Entry* PortSpace::Find(mach_port_name_t name) {
  const auto found = entries_.find(name);
  return found == entries_.end() ? nullptr : &found->second;
}

mach_port_name_t PortSpace::Add(Entry entry) {
  const mach_port_name_t name = next_;
  next_ += 0x100;
  entries_.emplace(name, std::move(entry));
  return name;
}

mach_port_name_t PortSpace::NameOf(const PortRef& port) const {
  for (const auto& [name, entry] : entries_) {
    if (entry.port == port && (entry.receive || entry.send > 0)) return name;
  }
  return MACH_PORT_NULL;
}

mach_port_name_t PortSpace::AddSend(const PortRef& port) {
  if (!port) return MACH_PORT_NULL;
  if (!port->alive) return MACH_PORT_DEAD;
  if (const mach_port_name_t name = NameOf(port)) {
    ++Find(name)->send;
    return name;
  }
  Entry entry;
  entry.port = port;
  entry.send = 1;
  return Add(std::move(entry));
}

mach_port_name_t PortSpace::AddSendOnce(const PortRef& port) {
  Entry entry;
  entry.port = port;
  entry.send_once = 1;
  return Add(std::move(entry));
}

void PortSpace::DropSend(mach_port_name_t name) {
  Entry* const entry = Find(name);
  if (--entry->send == 0 && !entry->receive) entries_.erase(name);
}

void PortSpace::DropSendOnce(mach_port_name_t name) { entries_.erase(name); }

void PortSpace::Erase(mach_port_name_t name) { entries_.erase(name); }

void PortSpace::Clear() {
  for (auto& [name, entry] : entries_) {
    if (entry.receive && entry.port) entry.port->elsewhere = true;
  }
  entries_.clear();
}

void PortSpace::Kill(const PortRef& port) {
  port->alive = false;
  for (const Message& message : std::exchange(port->queue, {})) DestroyMessage(message);
  port->changed.notify_all();
  for (auto& [name, entry] : entries_) {
    if (entry.port != port) continue;
    entry.dead = entry.send + entry.send_once;
    entry.send = entry.send_once = 0;
    entry.port = nullptr;
  }
}

PortRef MakeKernelPort() {
  auto port = std::make_shared<Port>();
  port->kernel_owned = true;
  return port;
}

void DestroyMessage(const Message& message) {
  const PortRef& reply = message.reply;
  if (!reply || message.reply_type != MACH_MSG_TYPE_PORT_SEND_ONCE || !reply->alive) return;
  Message notice;
  notice.id = kSendOnceGone;
  notice.dest_type = MACH_MSG_TYPE_PORT_SEND_ONCE;
  reply->queue.push_back(std::move(notice));
  reply->changed.notify_all();
}

Rights RightsOf(mach_port_name_t name) {
  PortSpace& space = PortSpace::Get();
  const std::lock_guard<std::mutex> lock(space.mutex());
  const PortSpace::Entry* const entry = space.Find(name);
  if (!entry) return {};
  return {entry->receive, entry->send, entry->send_once, entry->dead};
}

size_t QueuedMessages(mach_port_name_t name) {
  PortSpace& space = PortSpace::Get();
  const std::lock_guard<std::mutex> lock(space.mutex());
  const PortSpace::Entry* const entry = space.Find(name);
  return entry && entry->port ? entry->port->queue.size() : 0;
}

bool WaitForReceiver(mach_port_name_t name) {
  PortSpace& space = PortSpace::Get();
  std::unique_lock<std::mutex> lock(space.mutex());
  const PortSpace::Entry* const entry = space.Find(name);
  if (!entry || !entry->port) return false;
  const PortRef port = entry->port;
  return port->changed.wait_for(lock, std::chrono::seconds(10),
                                [&] { return port->receivers > 0; });
}

bool InterruptReceiver(mach_port_name_t name, mach_msg_return_t code) {
  PortSpace& space = PortSpace::Get();
  const std::lock_guard<std::mutex> lock(space.mutex());
  const PortSpace::Entry* const entry = space.Find(name);
  if (!entry || !entry->port || entry->port->receivers == 0) return false;
  entry->port->interruption = code;
  entry->port->changed.notify_all();
  return true;
}

}  // namespace mach_double

using mach_double::Call;
using mach_double::FailureOf;
using mach_double::PortSpace;

extern "C" {

kern_return_t mach_port_allocate(ipc_space_t task, mach_port_right_t right,
                                 mach_port_name_t* name) {
  if (const auto failure = FailureOf(Call::kPortAllocate)) return *failure;
  if (task != mach_task_self()) return MACH_SEND_INVALID_DEST;
  if (right != MACH_PORT_RIGHT_RECEIVE) return KERN_INVALID_VALUE;
  PortSpace& space = PortSpace::Get();
  const std::lock_guard<std::mutex> lock(space.mutex());
  PortSpace::Entry entry;
  entry.port = std::make_shared<mach_double::Port>();
  entry.receive = true;
  *name = space.Add(std::move(entry));
  return KERN_SUCCESS;
}

kern_return_t mach_port_insert_right(ipc_space_t task, mach_port_name_t name, mach_port_t poly,
                                     mach_msg_type_name_t disposition) {
  if (const auto failure = FailureOf(Call::kPortInsertRight)) return *failure;
  if (task != mach_task_self()) return MACH_SEND_INVALID_DEST;
  if (disposition != MACH_MSG_TYPE_MAKE_SEND && disposition != MACH_MSG_TYPE_COPY_SEND) {
    return KERN_INVALID_VALUE;
  }
  if (!MACH_PORT_VALID(name)) return KERN_INVALID_VALUE;
  PortSpace& space = PortSpace::Get();
  const std::lock_guard<std::mutex> lock(space.mutex());
  PortSpace::Entry* const source = space.Find(poly);
  if (!source) return KERN_INVALID_NAME;
  const bool may_give = disposition == MACH_MSG_TYPE_MAKE_SEND ? source->receive : source->send > 0;
  if (!may_give) return KERN_INVALID_RIGHT;
  if (name != poly) return space.Find(name) ? KERN_NAME_EXISTS : KERN_RIGHT_EXISTS;
  ++source->send;
  return KERN_SUCCESS;
}

kern_return_t mach_port_deallocate(ipc_space_t task, mach_port_name_t name) {
  if (const auto failure = FailureOf(Call::kPortDeallocate)) return *failure;
  if (task != mach_task_self()) return MACH_SEND_INVALID_DEST;
  PortSpace& space = PortSpace::Get();
  const std::lock_guard<std::mutex> lock(space.mutex());
  PortSpace::Entry* const entry = space.Find(name);
  if (!entry) return KERN_INVALID_NAME;
  if (entry->dead > 0) {
    if (--entry->dead == 0) space.Erase(name);
  } else if (entry->send_once > 0) {
    mach_double::Message unsent;
    unsent.reply = entry->port;
    unsent.reply_type = MACH_MSG_TYPE_PORT_SEND_ONCE;
    space.DropSendOnce(name);
    DestroyMessage(unsent);
  } else if (entry->send > 0) {
    space.DropSend(name);
  } else {
    return KERN_INVALID_RIGHT;
  }
  return KERN_SUCCESS;
}

// Only the end of a receive right, which is all that the sources take away so.
kern_return_t mach_port_mod_refs(ipc_space_t task, mach_port_name_t name, mach_port_right_t right,
                                 mach_port_delta_t delta) {
  if (const auto failure = FailureOf(Call::kPortModRefs)) return *failure;
  if (task != mach_task_self()) return MACH_SEND_INVALID_DEST;
  if (right != MACH_PORT_RIGHT_RECEIVE || delta != -1) return KERN_INVALID_VALUE;
  PortSpace& space = PortSpace::Get();
  const std::lock_guard<std::mutex> lock(space.mutex());
  PortSpace::Entry* const entry = space.Find(name);
  if (!entry) return KERN_INVALID_NAME;
  if (!entry->receive) return KERN_INVALID_RIGHT;
  const bool named_further = entry->send > 0;
  entry->receive = false;
  space.Kill(mach_double::PortRef(entry->port));
  if (!named_further) space.Erase(name);
  return KERN_SUCCESS;
}

kern_return_t mach_port_destroy(ipc_space_t task, mach_port_name_t name) {
  if (const auto failure = FailureOf(Call::kPortDestroy)) return *failure;
  if (task != mach_task_self()) return MACH_SEND_INVALID_DEST;
  PortSpace& space = PortSpace::Get();
  const std::lock_guard<std::mutex> lock(space.mutex());
  PortSpace::Entry* const entry = space.Find(name);
  if (!entry) return KERN_INVALID_NAME;
  const PortSpace::Entry gone = *entry;
  space.Erase(name);
  if (gone.receive) space.Kill(gone.port);
  return KERN_SUCCESS;
}

}  // extern "C"
