#include "netweft/couch/ChangesListener.h"

#include "netweft/couch/internal/ChangesListenerCore.h"

namespace qx::couch {

ChangesListener::ChangesListener() : ChangesListener(CouchConnectionParameters()) {}

ChangesListener::ChangesListener(const CouchConnectionParameters& server)
    : mCore(std::make_unique<ChangesListenerCore>(server)) {}

ChangesListener::~ChangesListener() = default;

bool ChangesListener::setConnectionParameters(const CouchConnectionParameters& server) {
  return mCore->setServer(server);
}

bool ChangesListener::startListeningDb(const string& db, long long since, Callback callback, void* userData,
                                       RetrieveContent content, long connectTimeout, long heartbeat,
                                       long reconnectDelay) {
  if (mCore->isListening(db)) return false;
  mCore->start(std::make_unique<DbListenRecord>(db, since, callback, userData, content, static_cast<int32>(heartbeat),
                                                static_cast<int32>(reconnectDelay)),
               connectTimeout);
  return true;
}

bool ChangesListener::stopListeningDb(const string& db) { return mCore->stop(db); }

bool ChangesListener::pauseListeningDb(const string& db, bool pause) { return mCore->pause(db, pause); }

void ChangesListener::updateListener(int timeoutMs) { mCore->update(timeoutMs); }

bool ChangesListener::isListeningDb(const string& db) const { return mCore->isListening(db); }

bool ChangesListener::isListeningGlobalChangeFeed() const { return isListeningDb(""); }

void ChangesListener::getListenedDb(set<string>& out) const { mCore->getListened(out); }

string ChangesListener::CallbackMsgToString(CallbackMsg msg) {
  switch (msg) {
    case CM_ListenStopedDueToError: return "CM_ListenStopedDueToError";
    case CM_ListenStopedDbMissing: return "CM_ListenStopedDbMissing";
    case CM_FailToStartListening: return "CM_FailToStartListening";
    case CM_StartListening: return "CM_StartListening";
    case CM_Listening: return "CM_Listening";
    case CM_NewChange: return "CM_NewChange";
    case CM_DbCreated: return "CM_DbCreated";
    case CM_DbDeleted: return "CM_DbDeleted";
    case CM_DbUpdated: return "CM_DbUpdated";
    case CM_DbDesignDocUpdated: return "CM_DbDesignDocUpdated";
    case CM_Heartbeat: return "CM_Heartbeat";
  }
  return "Unknown CallbackMsg enum";
}

}  // namespace qx::couch
