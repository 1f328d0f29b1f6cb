#pragma once

// The records of the render protocol.

#include <cstddef>
#include <cstdint>

#include "render/shading/RaytracerParameters.h"

namespace rt {

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "records are sent as they lie in memory");

enum PacketType : uint32_t {
    PACKET_CLIENT_REQUEST = 0,     // client asks for the settings
    PACKET_SERVER_PARAMETERS = 1,  // followed by a RaytracerParameters record
    PACKET_CLIENT_READY = 2,       // client has loaded the scene or sent a tile, and wants a task
    PACKET_SERVER_TASK = 3,
    PACKET_CLIENT_RESULT = 4,  // followed by the pixels
    PACKET_SERVER_DONE = 5,    // no more tasks for this client
    PACKET_CLIENT_DONE = 6,    // client gives its task back
};

/// Start of every packet.
struct PacketHeader {
    uint32_t uType;  // PacketType
    uint32_t uSize;  // bytes of the fixed part with this header, without the settings or pixels that follow
};
static_assert(sizeof(PacketHeader) == 8);
static_assert(offsetof(PacketHeader, uSize) == 4);

struct ParametersPacket {
    PacketHeader header;
    uint32_t uLength;  // bytes of the record that follows
};
static_assert(sizeof(ParametersPacket) == 12);
static_assert(offsetof(ParametersPacket, uLength) == 8);

struct TaskPacket {
    PacketHeader header;
    uint32_t uId;
    uint32_t uX;  // first pixel of the tile
    uint32_t uY;
    uint32_t uColumns;  // its size in pixels
    uint32_t uRows;
    uint32_t uPackSize;  // edge of a tile that is not clipped
};
static_assert(sizeof(TaskPacket) == 32);
static_assert(offsetof(TaskPacket, uId) == 8 && offsetof(TaskPacket, uX) == 12 && offsetof(TaskPacket, uY) == 16);
static_assert(offsetof(TaskPacket, uColumns) == 20 && offsetof(TaskPacket, uRows) == 24);
static_assert(offsetof(TaskPacket, uPackSize) == 28);

struct ResultPacket {
    PacketHeader header;
    uint32_t uId;
    uint32_t uLength;  // bytes of the pixels that follow: uRows rows of uColumns pixels of 3 bytes, without gaps
};
static_assert(sizeof(ResultPacket) == 16);
static_assert(offsetof(ResultPacket, uId) == 8 && offsetof(ResultPacket, uLength) == 12);

/// The only valid uSize of each type. Type 7 has no meaning yet; both ends ignore it.
constexpr uint32_t HEADER_SIZES[8] = {8, 12, 8, 32, 16, 8, 8, 8};
static_assert(HEADER_SIZES[PACKET_SERVER_PARAMETERS] == sizeof(ParametersPacket));
static_assert(HEADER_SIZES[PACKET_SERVER_TASK] == sizeof(TaskPacket));
static_assert(HEADER_SIZES[PACKET_CLIENT_RESULT] == sizeof(ResultPacket));

constexpr bool isValidHeader(const PacketHeader& header) {
    return header.uType < 8 && header.uSize == HEADER_SIZES[header.uType];
}

/// The most messages that a server accepts between two tiles. A correct client sends three. One that repeats itself for
/// ever would fill the log and keep its tile from others. Clients need no such limit.
constexpr uint32_t MAX_MESSAGES_PER_TILE = 100;

}  // namespace rt
