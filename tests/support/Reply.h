#pragma once

#include "tests/support/Gate.h"

#include <chrono>

namespace qx::test {

/// Header lines of a reply, in order.
using HeaderLines = vector<pair<string, string>>;

/// What the scripted server plays on one connection: a list of steps, built by chaining. As the answer to a request or,
/// through `ScriptedServer::queueConnection`, as the whole life of a connection.
///
///   Reply::Json(200, "{}")
///   Reply::Raw("HTTP/1.1 200 OK\r\nContent-Length: 4\r\n\r\nab").waitFor(gate).send("cd")
///   Reply::Stream(200).sendChunk("{\"seq\":1}\n").waitFor(gate).sendChunk("...").endChunks()
///   Reply::Silent()
///
/// Each `send` is a send of its own, without Nagle's delay, and starts only when the client has read all that was sent
/// before: so a client sees exactly these pieces, whatever it does between its reads.
///
/// A reply that neither closes nor holds leaves the connection open for the next request.
class Reply {
 public:
  using Milliseconds = std::chrono::milliseconds;

  enum StepKind { SK_Http, SK_Send, SK_Wait, SK_Pause, SK_AwaitText, SK_Hold, SK_Close, SK_Reset };
  struct Step {
    StepKind kind;
    string text = {};                      ///< Send and AwaitText: the bytes; Http: the head
    string body = {};                      ///< Http: left out in the answer to a HEAD
    vector<Gate> gate = {};                ///< Wait: exactly one
    Milliseconds pause = Milliseconds(0);  ///< Pause
  };

  /// A complete response with a Content-Length.
  static Reply Http(int status, const string& body = "", const HeaderLines& headers = {});
  /// The same with "Content-Type: application/json".
  static Reply Json(int status, const string& body);
  /// The head of a response with chunked transfer coding; `sendChunk` and `endChunks` follow.
  static Reply Stream(int status, const HeaderLines& headers = {});
  /// These bytes as one send.
  static Reply Raw(const string& bytes);
  /// Takes the request and says nothing, until the client goes away.
  static Reply Silent();

  /// The bytes of a whole response, for those who want to cut it themselves.
  static string HttpText(int status, const string& body, const HeaderLines& headers = {});
  /// Status line, header lines and the empty line.
  static string HeadText(int status, const HeaderLines& headers);
  /// One chunk of chunked transfer coding.
  static string ChunkText(const string& bytes);

  Reply& send(const string& bytes);
  /// Cut into pieces of `pieceSize` bytes; 1 is one byte at a time.
  Reply& sendInPieces(const string& bytes, uint64 pieceSize);
  /// One byte at a time with a pause of real time before each: a server that is slow but alive.
  Reply& drip(const string& bytes, Milliseconds pause);
  Reply& sendChunk(const string& bytes) { return send(ChunkText(bytes)); }
  Reply& endChunks() { return send("0\r\n\r\n"); }

  Reply& waitFor(const Gate& gate);
  /// For scripts of a whole connection: goes on once the client has sent `text`, seen from where the last such step
  /// ended.
  Reply& awaitText(const string& text);
  /// Keeps the connection open and silent until the client goes away. The last step.
  Reply& hold();
  /// An orderly close (FIN, with TLS a close-notify before it) once all was sent. The last step.
  Reply& close();
  /// An abortive close (RST). The last step.
  Reply& reset();

  const vector<Step>& getSteps() const { return mSteps; }

 private:
  Reply& add(Step step);

  vector<Step> mSteps;
};

}  // namespace qx::test
