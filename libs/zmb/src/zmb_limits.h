// What peers of the bus may use. A host asks one small question at a time, so all of this is far
// above what a sound peer needs, and what all of it together takes is far below what the module
// has.
#pragma once

#include <cstddef>

namespace Common::limits {

// --- One message ---

inline constexpr int kFrames = 64;
/// The largest record has 32,775 bytes.
inline constexpr int kFrameBytes = 64 << 10;
/// All frames in front of the payload, each with its overhead. They go back with the reply, so a
/// peer that does not read has them kept with every waiting reply.
inline constexpr int kEnvelopeBytes = 2 << 10;
/// What a frame takes beside its bytes, however few these are.
inline constexpr int kFrameOverhead = 128;
inline constexpr int kMessageBytes = kFrameBytes + 2 * kEnvelopeBytes;

// --- One connection ---

/// Requests that wait for their turn; the transport holds a peer back that sends more.
inline constexpr int kWaitingRequests = 2;
/// Replies that wait for their peer to read. More are dropped: a peer that reads loses none only
/// while it does not ask further ahead than this.
inline constexpr int kWaitingReplies = 48;
/// From the connection to the end of its handshake. A connection that takes longer loses its place
/// to the next one.
inline constexpr int kHandshakeMs = 2000;
/// A connection over which nothing came for so long loses its place to a new one that finds none.
inline constexpr int kIdleMs = 60'000;

/// What a subscriber may say in all. libzmq keeps each subscription for as long as the connection
/// lasts; a sound one is a few bytes, sent once.
inline constexpr std::size_t kSubscriberBytes = 4096;

// --- All connections of the process ---

/// All ipc peers count as one address. They have their places to themselves, so that no peer on the
/// network locks a program of this module out.
inline constexpr int kConnectionsOfOneAddress = 32;
inline constexpr int kTcpConnections = 96;
/// A socket takes its connections in turns. After so many messages each has had the turns for all
/// that it left when it closed: at most 3 messages of each place, and 100 until libzmq looks for
/// news.
inline constexpr int kReadsUntilGone = 1024;
/// Descriptors that connections leave to the rest of the process.
inline constexpr int kSpareDescriptors = 64;

}  // namespace Common::limits
