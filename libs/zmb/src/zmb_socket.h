// An open bus socket and its links.
//
// Threads: none of it is shared. A socket belongs to the one thread that polls it; handing it over
// needs a synchronising step, such as the start of that thread.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <utility>

#include "libs/zmb/src/zmb_api.h"
#include "libs/zmb/src/zmb_end_point.h"

namespace Common {

class ZmbSocket {
 public:
  /// The text of a link's URI with a mode (AddLink) or a result (ConnLink).
  using LinkResult = std::pair<std::string, int>;

  enum : int {
    CONN_KNOWN_FAILED = -3,  ///< connecting a link that was known already
    MALFORMED_URI = -5,      ///< the URI text of the result is empty
    CONN_NEW_FAILED = -7,
  };

  /// Type of all server ends and of all ends between daemons: a router.
  static constexpr int kRouter = ZMQ_ROUTER;
  /// Type of a client's end that asks a router: messages wait in it until it is connected. (A
  /// router drops what it is given for a peer that it does not know yet.)
  static constexpr int kDealer = ZMQ_DEALER;

  /// `ctx` (not null) outlives the socket; `type` is a libzmq type from 1 to 10. With an `id`
  /// (copied, at most 255 bytes) the peer's router sees that identity.
  ZmbSocket(void* ctx, int type, const std::string* id);
  ZmbSocket(const ZmbSocket&) = delete;
  ZmbSocket& operator=(const ZmbSocket&) = delete;
  ~ZmbSocket();

  /// Adds a link that is neither bound nor connected; `path` is the part behind "://". A URI that
  /// is there already keeps its end point. A malformed one adds nothing and returns MALFORMED_URI.
  LinkResult AddLink(protocol prot, const char* path);
  /// With a given state; `mode` is a ZmbEndPoint::Mode.
  LinkResult AddLink(const ZmbUri& uri, int stat, int mode);

  /// Binds every link of mode 0. An ipc address on which somebody listens fails with EADDRINUSE.
  /// -1 if any failed, after the rest have been tried; each link keeps its errno.
  int BindLinks();
  /// Binds "tcp://*:PORT" on all interfaces; it becomes no link. 0 or -1.
  int BindLinks(const char* port);

  /// As BindLinks(), connecting.
  int ConnLinks();

  /// Connects one URI, if it is not a link that is bound or connected already. A new URI is kept as
  /// a link when `add` is set and it could be connected. The result is 0 or a code above.
  LinkResult ConnLink(const ZmbUri& uri, bool add);
  /// The part behind "://".
  LinkResult ConnLink(std::pair<void*, int> path, protocol prot, bool add);
  /// Without `check` a malformed URI reaches libzmq as it is; it is not kept.
  LinkResult ConnLink(const std::string& uri, bool check, bool add);

  /// For a connecting socket whose peer does not answer: closes it, drops what it holds, and
  /// connects every link again on a new socket of the same type and identity. -1 if any link
  /// failed.
  int ReConnAll();

  int NumLinks() const { return static_cast<int>(_links.size()); }
  /// The libzmq socket; another one after ReConnAll.
  void* GetSocket() const { return _sock.get(); }
  /// Null without an identity.
  const std::string* GetId() const { return _id.get(); }
  void ShowLinks(int level) const;

 private:
  using Step = int (*)(void* socket, const std::string& uri);  // 0 or an errno

  void Open();
  int MakeLink(ZmbEndPoint& link, Step step, int mode);
  int MakeLinks(Step step, int mode);

  void* _ctxt;
  int _type;
  std::unique_ptr<const std::string> _id;
  zmb_api::Socket _sock;
  std::map<std::string, ZmbEndPoint::Ptr> _links;  ///< by URI text
};

}  // namespace Common
