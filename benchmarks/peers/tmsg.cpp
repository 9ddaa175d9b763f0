#include "tmsg_peer.h"

namespace peers {

void add_tmsg(Suite& suite) {
    add_peer<TmsgPeer>(suite);
    add_wire_form<TmsgChunksPeer>(suite);
}

}  // namespace peers
