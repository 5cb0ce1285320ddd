#pragma once

#include "netweft/base/system/NetweftExport.h"
#include "netweft/base/system/qxTypes.h"
#include "netweft/couch/CouchConnectionParameters.h"

namespace qx::couch {

class ChangesListenerCore;

/// Follows many CouchDB change feeds at once from one thread. Register databases, then call `updateListener` again and
/// again from a loop of your own: each call drives all feeds without blocking and reports through one callback per
/// database. The name "" stands for the server-wide feed, which tells of databases created, updated and deleted.
///
/// A feed keeps itself alive. It finds its starting sequence, reconnects after a failure and carries on from the last
/// sequence seen, until `stopListeningDb`: no message ends a feed, whatever its name says. Nothing here logs a missing
/// database or refused credentials; only the callback tells.
///
/// A feed that the server ends in good order is requested again in the next pass, without a delay and without a
/// message, and the status of its answer does not count. So a server that answers with something else than feed lines
/// (a proxy's error page) is asked again as fast as `updateListener` is called. A line is held in memory until its end
/// has arrived, however long the server makes it.
///
/// Threads: no lock and no thread. All calls but `CallbackMsgToString` must come from one thread at a time. Callbacks
/// run on the thread that called `updateListener`, from inside that call.
///
/// From inside a callback every call is allowed on any feed, its own included, with two exceptions: `updateListener`
/// does nothing there, and the listener must not be destroyed there. A feed stopped there makes no further callback.
class NETWEFT_EXPORT ChangesListener {
 public:
  /// What happened to a feed, or came on it.
  enum CallbackMsg : int32 {
    CM_ListenStopedDueToError = 0,  ///< a feed broke, or the start sequence could not be read; a retry follows
    CM_ListenStopedDbMissing = 1,   ///< the database does not exist; a retry follows
    CM_FailToStartListening = 2,    ///< the feed failed before its response headers were complete; a retry follows
    CM_StartListening = 3,          ///< a feed request was handed to libcurl
    CM_Listening = 4,               ///< the feed's response headers are complete
    CM_NewChange = 5,               ///< a change of a database's feed
    CM_DbCreated = 6,               ///< server-wide feed: a database was created
    CM_DbDeleted = 7,               ///< server-wide feed: a database was deleted
    CM_DbUpdated = 8,               ///< server-wide feed: a database has changed
    CM_DbDesignDocUpdated = 9,      ///< server-wide feed: a design document has changed
    CM_Heartbeat = 10,              ///< the server's keep-alive newline arrived
  };

  /// Adds to the query of the feed. The documents that the server then sends do not reach the callback.
  enum RetrieveContent : int32 {
    RC_ChangesOnly = 0,              ///< nothing
    RC_IncludeDocs = 1,              ///< "include_docs"
    RC_IncludeDocsAndConflicts = 2,  ///< "include_docs" and "conflicts"
  };

  /// What a callback is told. The object belongs to the listener and lives for the call alone; a copy is the caller's.
  struct CallbackParam {
    /// The feed's database; in the messages of the server-wide feed the "db_name" as the server sent it.
    string dbName;
    /// `CM_NewChange`: the document's id. `CM_DbDesignDocUpdated`: the design document. Empty otherwise.
    string docId;
    /// `CM_NewChange`: the leaf revisions, the winner first. Empty otherwise.
    vector<string> revisions;
    /// The reason of the messages 0, 1 and 2. Empty otherwise.
    string errorMessage;
    /// The last sequence seen on this feed, the change at hand included; 0 on the server-wide feed. A server whose
    /// sequences are texts gives 0, unless the whole text is a decimal number.
    int64 seq = 0;
    /// `CM_NewChange`: the document was deleted.
    bool deleted = false;
  };

  /// An exception that it throws ends the feed's transfer and reaches the caller of `updateListener`; see there.
  using Callback = void (*)(CallbackMsg msg, const CallbackParam& param, void* userData);

  /// Of the server on http://127.0.0.1:80, until `setConnectionParameters` names another.
  ChangesListener();
  /// The parameters are copied.
  explicit ChangesListener(const CouchConnectionParameters& server);
  /// Stops all feeds. No callback is made.
  ~ChangesListener();
  ChangesListener(const ChangesListener&) = delete;
  ChangesListener& operator=(const ChangesListener&) = delete;

  /// Replaces the server. False, with nothing changed, while any feed is registered.
  bool setConnectionParameters(const CouchConnectionParameters& server);

  /// Registers a feed; the transfer begins in the next `updateListener`. False, with nothing changed, when the name is
  /// registered already.
  ///
  /// `since` 0 or more starts behind that sequence; a negative one asks for what changes from now on. Ignored for "".
  /// `callback` may be null: the feed is followed and nothing is told. `userData` is handed on untouched and must
  /// outlive the registration. `connectTimeout`, `heartbeat` (how often the server shows that it is alive) and
  /// `reconnectDelay` are in seconds; after a failure a feed waits for longer than `reconnectDelay` whole seconds, so 1
  /// means 2 seconds. A connected feed has no time-out: a dead peer is found by TCP keep-alive alone, after three
  /// heartbeats of silence.
  ///
  /// Needs an initialised library. TLS certificates of the server are not verified, and no proxy is used.
  bool startListeningDb(const string& db, long long since, Callback callback, void* userData, RetrieveContent content,
                        long connectTimeout, long heartbeat, long reconnectDelay);

  /// Ends a feed at once. False when the name is not registered. No callback is made.
  bool stopListeningDb(const string& db);

  /// Pauses or resumes reading from the feed's socket, so that the server is held back. False when the name is not
  /// registered. It acts on the transfer in flight alone: a feed that waits for its reconnection is not affected, and a
  /// pause ends with the transfer. When the pause was made from inside a callback, lines that had been read by then are
  /// reported when it is lifted, from inside this call, which then lets a callback's exception out too.
  bool pauseListeningDb(const string& db, bool pause);

  /// Drives all feeds. Never sleeps and never waits on a socket: without traffic it makes one pass and returns, so the
  /// caller sets the pace; with traffic it goes on until `timeoutMs` is spent.
  ///
  /// An exception from a callback leaves here, after the pass is complete. Thrown while the feed's answer was being
  /// read, it ends that transfer: the feed is told so, as of any broken transfer, and reconnects after its delay from
  /// the last sequence seen; the change that the callback was told of counts as seen. Thrown at any other moment it
  /// changes nothing for the feed. If several feeds' callbacks throw in one pass, each call lets one exception out. Of
  /// several exceptions of one feed the first counts.
  ///
  /// Throws std::out_of_range "invalid string position", in the same way, when the server-wide feed brings an update of
  /// a design document whose name is shorter than 4 bytes.
  void updateListener(int timeoutMs);

  /// Whether a feed of that name, or the server-wide one, is registered; not whether it is connected.
  bool isListeningDb(const string& db) const;
  bool isListeningGlobalChangeFeed() const;
  /// Replaces `out` by the registered names, without "".
  void getListenedDb(set<string>& out) const;

  /// The enumerator's name; "Unknown CallbackMsg enum" for any other value. Any thread.
  static string CallbackMsgToString(CallbackMsg msg);

 private:
  unique_ptr<ChangesListenerCore> mCore;
};

}  // namespace qx::couch
