// The viewer's assembler on a list of packets.
#include "tools/live/unpacking.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <map>
#include <set>

namespace qrx::tool {
namespace {

// Of one frame of the list.
struct Frame {
  std::vector<Packet> packets;
  std::vector<Box> boxes;  // that it changes, in the window
};

struct Film {
  std::uint32_t window = 0;
  Size size;
  std::map<std::uint32_t, Frame> frames;  // by index
};

// What the valid packets say; those of no frame go with the first.
Film sortPackets(codec::Decompressor& decompressor, const std::vector<Packet>& packets,
                 const Limits& limits) {
  struct Place {
    std::uint32_t index;
    int x, y, width, height;
  };
  Film film;
  std::vector<Place> places;
  places.reserve(packets.size());
  std::vector<const Packet*> strangers;
  std::uint32_t index = 0;
  for (const Packet& packet : packets) {
    Packet copy = packet;
    const Buffer buffer{nullptr, copy.data(), static_cast<std::uint32_t>(copy.size())};
    const auto head = readHead(packet);
    const bool valid = decompressor.isValid(&buffer) && cellsOf(*head);
    if (!valid && index == 0) strangers.push_back(&packet);
    if (valid) {
      index = decompressor.getIndex(&buffer);
      if (places.empty()) film.window = head->window;
      places.push_back({index, head->frameX, head->frameY, head->frameWidth, head->frameHeight});
      film.size.width = std::max(film.size.width, head->frameX + head->frameWidth);
      film.size.height = std::max(film.size.height, head->frameY + head->frameHeight);
    }
    if (index != 0) film.frames[index].packets.push_back(packet);
  }
  if (film.frames.empty()) throw Error("there is no valid packet in it: see qrx-jpeg help packets");
  if (std::max(film.size.width, film.size.height) > kLargestWindow) {
    throw Error("a picture of " + std::to_string(film.size.width) + "x" +
                std::to_string(film.size.height) + " is too large: at most " +
                std::to_string(kLargestWindow) + " pixels a side are allowed: make it smaller");
  }
  // The picture, its twin, and what is known of each pixel.
  constexpr std::uint64_t kBytesPerPixel = 16;
  limits.checkSize(film.size.width, film.size.height);
  limits.checkMemory(kBytesPerPixel * static_cast<std::uint64_t>(film.size.width) *
                     static_cast<std::uint64_t>(film.size.height));
  std::vector<Packet>& first = film.frames.begin()->second.packets;
  for (const Packet* stranger : strangers) first.push_back(*stranger);
  for (const Place& p : places) {
    std::vector<Box>& boxes = film.frames[p.index].boxes;
    const Box box = boxInWindow(p.x, p.y, p.width, p.height, film.size);
    if (std::find(boxes.begin(), boxes.end(), box) == boxes.end()) boxes.push_back(box);
  }
  return film;
}

// Indexes become those of the viewer: 1, 2, 3, with the frame in the context byte.
void renumber(Packet& packet, std::uint32_t frame) {
  udp_header head;
  if (packet.size() < sizeof head) return;
  std::memcpy(&head, packet.data(), sizeof head);
  const auto index = static_cast<std::int32_t>(frame + 1);
  head.index = head.index < 0 ? -index : index;
  head.contextByte = static_cast<std::uint8_t>(frame);
  std::memcpy(packet.data(), &head, sizeof head);
}

// Those of the frame's packets whose first MCU is among `arrived`.
std::vector<PacketPlace> placesOf(const Frame& frame, const std::set<int>& arrived, Size window) {
  std::vector<PacketPlace> places;
  std::size_t number = 0;
  for (const Packet& packet : frame.packets) {
    const auto head = readHead(packet);
    const auto cells = head ? cellsOf(*head) : std::nullopt;
    if (cells && arrived.contains(cells->first)) {
      const Box box =
          boxInWindow(head->frameX, head->frameY, head->frameWidth, head->frameHeight, window);
      places.push_back({box, *cells, number});
    }
    ++number;
  }
  return places;
}

Unpacked assemble(codec::Decompressor& decompressor, const Film& film,
                  const UnpackRequest& request) {
  const FrameAssembler::Clock::time_point now{};
  FrameAssembler assembler(decompressor, request.limits);
  BadNetwork network(request.network);
  FrameInfo info;
  info.window = film.window;
  info.width = static_cast<std::uint32_t>(film.size.width);
  info.height = static_cast<std::uint32_t>(film.size.height);
  assembler.announce(info, now);
  Unpacked result;
  std::vector<Packet> arriving;
  const Frame* latest = nullptr;
  std::uint32_t latestIndex = 0;
  std::set<int> arrived;  // of the latest frame's packets, by their first MCU
  const auto take = [&] {
    for (Packet& packet : arriving) {
      const auto head = readHead(packet);
      if (assembler.take(packet, now) != Verdict::kPlaced) continue;
      if (static_cast<std::uint32_t>(std::abs(head->index)) != latestIndex) continue;
      arrived.insert(cellsOf(*head)->first);
    }
    arriving.clear();
  };
  for (const auto& [index, frame] : film.frames) {
    if (request.after != 0 && result.frames == request.after) break;
    latest = &frame;
    latestIndex = result.frames + 1;
    arrived.clear();
    for (const Packet& packet : frame.packets) {
      Packet sent = packet;
      renumber(sent, result.frames);
      network.push(std::move(sent), arriving);
      take();
    }
    for (const Box& box : frame.boxes) assembler.changed(box, result.frames);
    info.frame = result.frames++;
    info.latestIndex = result.frames;
    assembler.announce(info, now);
  }
  network.flush(arriving);
  take();
  result.network = network.counts();
  result.statistics = assembler.statistics();
  assembler.copyPicture(result.picture, request.tint);
  if (latest != nullptr) result.latest = placesOf(*latest, arrived, film.size);
  return result;
}

double equalPercent(const Image& a, const Image& b) {
  std::size_t equal = 0;
  for (std::size_t i = 0; i < a.pixels.size(); i += Image::kBytesPerPixel) {
    if (std::memcmp(&a.pixels[i], &b.pixels[i], 3) == 0) ++equal;
  }
  return 100.0 * static_cast<double>(equal * Image::kBytesPerPixel) /
         static_cast<double>(a.pixels.size());
}

}  // namespace

Unpacked unpackPackets(codec::Decompressor& decompressor, const std::vector<Packet>& packets,
                       const UnpackRequest& request) {
  const Film film = sortPackets(decompressor, packets, request.limits);
  UnpackRequest whole;
  whole.after = request.after;
  whole.limits = request.limits;
  const Unpacked reference = assemble(decompressor, film, whole);
  UnpackRequest plain = request;
  plain.tint = false;
  Unpacked result = assemble(decompressor, film, plain);
  result.right = equalPercent(result.picture, reference.picture);
  if (request.tint) result.picture = assemble(decompressor, film, request).picture;
  if (request.packets) colourPackets(result.picture, result.latest);
  return result;
}

}  // namespace qrx::tool
