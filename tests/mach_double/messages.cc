// mach_msg: sending to and receiving from the queues of ports.
#include <algorithm>
#include <chrono>
#include <cstring>
#include <utility>

#include "tests/mach_double/failures.h"
#include "tests/mach_double/ports.h"

extern "C" {
// Little-endian integers, ASCII characters, IEEE floats.
NDR_record_t NDR_record = {0, 0, 0, 0, 1, 0, 0, 0};
}

namespace mach_double {
namespace {

constexpr mach_msg_size_t kHeaderSize = sizeof(mach_msg_header_t);
constexpr mach_msg_size_t kTrailerSize = sizeof(mach_msg_trailer_t);

bool IsSendType(unsigned type) {
  return type >= MACH_MSG_TYPE_MOVE_SEND && type <= MACH_MSG_TYPE_MAKE_SEND_ONCE;
}

// What a disposition given by the sender is to the receiver.
mach_msg_type_name_t ReceivedType(unsigned type) {
  const bool once = type == MACH_MSG_TYPE_MOVE_SEND_ONCE || type == MACH_MSG_TYPE_MAKE_SEND_ONCE;
  return once ? MACH_MSG_TYPE_PORT_SEND_ONCE : MACH_MSG_TYPE_PORT_SEND;
}

// Whether the entry has what the disposition moves, copies or makes from.
bool MayGive(const PortSpace::Entry* entry, unsigned type) {
  if (!entry || !entry->port) return false;
  switch (type) {
    case MACH_MSG_TYPE_MOVE_SEND:
    case MACH_MSG_TYPE_COPY_SEND:
      return entry->send > 0;
    case MACH_MSG_TYPE_MOVE_SEND_ONCE:
      return entry->send_once > 0;
    default:
      return entry->receive;
  }
}

void TakeMoved(PortSpace& space, mach_port_name_t name, unsigned type) {
  if (type == MACH_MSG_TYPE_MOVE_SEND) space.DropSend(name);
  if (type == MACH_MSG_TYPE_MOVE_SEND_ONCE) space.DropSendOnce(name);
}

// Whether a wait with these options is without limit, and until when otherwise.
struct Deadline {
  bool forever;
  std::chrono::steady_clock::time_point at;
  Deadline(bool limited, mach_msg_timeout_t ms)
      : forever(!limited), at(std::chrono::steady_clock::now() + std::chrono::milliseconds(ms)) {}
};

// Waits until ready() holds; false when the time came first.
template <typename Ready>
bool WaitOn(Port& port, std::unique_lock<std::mutex>& lock, const Deadline& deadline, Ready ready) {
  if (deadline.forever) {
    port.changed.wait(lock, ready);
    return true;
  }
  return port.changed.wait_until(lock, deadline.at, ready);
}

mach_msg_return_t CheckHeader(const mach_msg_header_t& header) {
  const unsigned dest_type = MACH_MSGH_BITS_REMOTE(header.msgh_bits);
  const unsigned reply_type = MACH_MSGH_BITS_LOCAL(header.msgh_bits);
  if (!IsSendType(dest_type)) return MACH_SEND_INVALID_HEADER;
  if (reply_type == 0 && header.msgh_local_port != MACH_PORT_NULL) return MACH_SEND_INVALID_HEADER;
  if (reply_type != 0 && !IsSendType(reply_type)) return MACH_SEND_INVALID_HEADER;
  return MACH_MSG_SUCCESS;
}

// A message of the process may call itself complex, but must not carry descriptors.
bool CarriesDescriptors(const mach_msg_header_t& header, const std::vector<uint8_t>& body) {
  if (!(header.msgh_bits & MACH_MSGH_BITS_COMPLEX)) return false;
  mach_msg_body_t count = {};
  if (body.size() < sizeof(count)) return true;
  std::memcpy(&count, body.data(), sizeof(count));
  return count.msgh_descriptor_count != 0;
}

mach_msg_return_t Send(const mach_msg_header_t* msg, mach_msg_size_t size, bool limited,
                       mach_msg_timeout_t timeout) {
  if (size < kHeaderSize || size % 4 != 0) return MACH_SEND_MSG_TOO_SMALL;
  mach_msg_header_t header;
  std::memcpy(&header, msg, sizeof(header));
  const auto* const bytes = reinterpret_cast<const uint8_t*>(msg);
  std::vector<uint8_t> body(bytes + kHeaderSize, bytes + size);
  if (const mach_msg_return_t bad = CheckHeader(header)) return bad;
  if (CarriesDescriptors(header, body)) return MACH_SEND_INVALID_TYPE;

  const unsigned dest_type = MACH_MSGH_BITS_REMOTE(header.msgh_bits);
  const unsigned reply_type = MACH_MSGH_BITS_LOCAL(header.msgh_bits);
  PortSpace& space = PortSpace::Get();
  std::unique_lock<std::mutex> lock(space.mutex());
  const PortSpace::Entry* const dest_entry = space.Find(header.msgh_remote_port);
  if (!MayGive(dest_entry, dest_type)) return MACH_SEND_INVALID_DEST;
  const PortRef dest = dest_entry->port;
  PortRef reply;
  if (MACH_PORT_VALID(header.msgh_local_port)) {
    const PortSpace::Entry* const reply_entry = space.Find(header.msgh_local_port);
    if (!MayGive(reply_entry, reply_type)) return MACH_SEND_INVALID_REPLY;
    reply = reply_entry->port;
  }
  // A send-once right always finds room: its receiver promised to take the one message.
  if (ReceivedType(dest_type) == MACH_MSG_TYPE_PORT_SEND &&
      !WaitOn(*dest, lock, Deadline(limited, timeout),
              [&] { return !dest->alive || dest->queue.size() < MACH_PORT_QLIMIT_DEFAULT; })) {
    return MACH_SEND_TIMED_OUT;
  }
  TakeMoved(space, header.msgh_remote_port, dest_type);
  if (reply) TakeMoved(space, header.msgh_local_port, reply_type);

  Message message;
  message.id = header.msgh_id;
  message.complex = (header.msgh_bits & MACH_MSGH_BITS_COMPLEX) != 0;
  message.dest_type = ReceivedType(dest_type);
  message.reply_type = reply_type != 0 ? ReceivedType(reply_type) : 0;
  message.reply = std::move(reply);
  message.body = std::move(body);
  if (!dest->alive) {
    DestroyMessage(message);  // the port died while the message waited for room: it counts as sent
    return MACH_MSG_SUCCESS;
  }
  dest->queue.push_back(std::move(message));
  dest->changed.notify_all();
  return MACH_MSG_SUCCESS;
}

// Gives the task its names for what the message carries, and writes it out.
void Deliver(PortSpace& space, Message& message, mach_port_name_t local, mach_msg_header_t* out) {
  for (const auto& [offset, port] : message.carried) {
    const mach_port_name_t name = space.AddSend(port);
    std::memcpy(message.body.data() + offset, &name, sizeof(name));
  }
  mach_msg_header_t header = {};
  header.msgh_bits = MACH_MSGH_BITS(message.reply_type, message.dest_type) |
                     (message.complex ? MACH_MSGH_BITS_COMPLEX : 0);
  header.msgh_size = kHeaderSize + static_cast<mach_msg_size_t>(message.body.size());
  if (message.reply) {
    header.msgh_remote_port = message.reply_type == MACH_MSG_TYPE_PORT_SEND_ONCE
                                  ? space.AddSendOnce(message.reply)
                                  : space.AddSend(message.reply);
  }
  header.msgh_local_port = local;
  header.msgh_id = message.id;
  auto* const bytes = reinterpret_cast<uint8_t*>(out);
  std::memcpy(bytes, &header, sizeof(header));
  std::copy(message.body.begin(), message.body.end(), bytes + kHeaderSize);
  const mach_msg_trailer_t trailer = {0, kTrailerSize};
  std::memcpy(bytes + header.msgh_size, &trailer, sizeof(trailer));
}

mach_msg_return_t Receive(mach_msg_header_t* msg, mach_msg_size_t size, mach_port_name_t name,
                          mach_msg_option_t option, mach_msg_timeout_t timeout) {
  PortSpace& space = PortSpace::Get();
  std::unique_lock<std::mutex> lock(space.mutex());
  const PortSpace::Entry* const entry = space.Find(name);
  if (!entry || !entry->receive) return MACH_RCV_INVALID_NAME;
  const PortRef port = entry->port;
  ++port->receivers;
  port->changed.notify_all();
  const bool in_time =
      WaitOn(*port, lock, Deadline((option & MACH_RCV_TIMEOUT) != 0, timeout),
             [&] { return !port->queue.empty() || !port->alive || port->interruption != 0; });
  --port->receivers;
  if (!in_time) return MACH_RCV_TIMED_OUT;
  if (!port->alive) return MACH_RCV_PORT_DIED;
  if (const mach_msg_return_t interruption = std::exchange(port->interruption, 0)) {
    return interruption;
  }
  Message& next = port->queue.front();
  const auto needed = kHeaderSize + static_cast<mach_msg_size_t>(next.body.size()) + kTrailerSize;
  if (size < needed && (option & MACH_RCV_LARGE)) {
    msg->msgh_size = needed - kTrailerSize;
    return MACH_RCV_TOO_LARGE;
  }
  Message message = std::move(next);
  port->queue.pop_front();
  port->changed.notify_all();
  if (size < needed) {
    DestroyMessage(message);
    return MACH_RCV_TOO_LARGE;
  }
  Deliver(space, message, name, msg);
  return MACH_MSG_SUCCESS;
}

}  // namespace
}  // namespace mach_double

extern "C" mach_msg_return_t mach_msg(mach_msg_header_t* msg, mach_msg_option_t option,
                                      mach_msg_size_t send_size, mach_msg_size_t rcv_size,
                                      mach_port_name_t rcv_name, mach_msg_timeout_t timeout,
                                      mach_port_name_t /*notify*/) {
  using mach_double::Call;
  if (option & MACH_SEND_MSG) {
    if (const auto failure = mach_double::FailureOf(Call::kMachMsgSend)) return *failure;
    const mach_msg_return_t sent =
        mach_double::Send(msg, send_size, (option & MACH_SEND_TIMEOUT) != 0, timeout);
    if (sent != MACH_MSG_SUCCESS) return sent;
  }
  if (option & MACH_RCV_MSG) {
    if (const auto failure = mach_double::FailureOf(Call::kMachMsgReceive)) return *failure;
    return mach_double::Receive(msg, rcv_size, rcv_name, option, timeout);
  }
  return MACH_MSG_SUCCESS;
}
