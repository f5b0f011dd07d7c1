/*
 * zulstats64.h - the public interface of ZULSTATS64, the client library for the statistics of a Quillon Gateway daemon.
 *
 * A monitoring program opens one connection for each gateway (openGatewayConnection, openRemoteGatewayConnection), asks
 * it for ids or statistics (getResourceGroupIds to getStatsByStatGroupId) and walks the result set that it gets with a
 * first call and next calls until STAPI_RC_END_OF_DATA.
 *
 * Return codes. Every function returns a signed 32-bit code: 0 (STAPI_RC_OK) for success, else one of the STAPI_RC_*
 * codes below. Besides the codes listed with it, every function may return STAPI_RC_NO_MEMORY when the very first call
 * into the library cannot set up its trace, and STAPI_RC_ALREADY_INITIALISED when two threads make that first call at
 * the same moment: what was asked for has not been done, and the call may be repeated. Either may leave the trace level
 * at 1.
 *
 * Threads. Any thread may call in. A gateway connection, and the result set that its queries return, may be used only
 * by the thread (and the process) that opened it; others get STAPI_RC_WRONG_THREAD or STAPI_RC_WRONG_PROCESS. Closing a
 * connection and dumpState are allowed from every thread. A copy made with copyResultSet may be used by any thread, but
 * by one at a time. What no check can catch is the caller's duty: a result set, and every pointer that came out of it,
 * is not used after its connection was closed, and a copy is not used after it was freed.
 *
 * Processes. A forked child is another process: its queries, and its use of a connection's result set, get
 * STAPI_RC_WRONG_PROCESS. Its close functions release the child's copy of a connection, with the codes that they would
 * give, and without a word to the daemon: the parent's connection lives on. What another thread was using or closing at
 * the fork may stay with the child until it ends. The child may open connections of its own. A fork waits for another
 * thread that is writing a trace line. A child is told from its parent by its process id, so one that is given the same
 * id, in a process id namespace of its own, is taken for its parent.
 *
 * Unloading. The library is made to stay loaded. Before it is unloaded, close every connection, free every copy and
 * call setAPITraceFile with a null pointer, which closes a trace file: unloading closes none. About 1 KiB, the area of
 * that file's name, stays behind each time.
 *
 * Memory. A connection keeps the buffer of its result set, at the size that its largest answer needed, and the block of
 * its last large reply: together about twice the size of that reply. The block is given back when the replies have been
 * small for a while, the buffer when the connection is closed.
 *
 * Waiting. The connect itself gives up after 60 seconds. Without limit wait: resolving a host name; the handshake, the
 * authorisation and the request for the protocol version, which are part of opening; every query; and the close
 * request, which is part of closing and of the removal of a dead connection. closeGatewayConnection and
 * closeAllGatewayConnections of another thread cut off whoever waits in a query, closeAllGatewayConnections also who
 * waits in an opening whose socket has been made. Nobody else waits with a thread that waits for a daemon.
 *
 * Replies that are cut off. A daemon that ends its connection in good order in the middle of a reply's body is not told
 * from one that has sent all: what is missing reads as zero, as far as the reply announced, and the query may succeed.
 * A caller notices by an empty id, by NUL bytes in an id or a value, by a query element without ids (see IdData), or by
 * fewer entries than expected; the next query on the connection then fails and removes it.
 *
 * Guests' manners. No function throws, raises a signal, ends the process, changes the locale or writes to standard
 * output. A thread is never cancelled inside a function; asynchronous cancellation is not supported. On Linux neither a
 * socket nor a trace file gets the number of a standard stream.
 *
 * Trace. Level 1 tells why a connection could not be made; of an exchange, that a request could not be sent, a receive
 * failed, the reply is no gateway's, or the daemon refused the call; and what was refused for its content, its owner or
 * its thread. Other failures leave no line at level 1, but their code in the exit line of level 3: a daemon that closes
 * the connection before its reply, or ends the reply early; a return code in a reply's header; a reply that is too
 * short or malformed; closing a connection that is not, or no longer, among the open ones; a null argument of a query,
 * of a walk, of getIdQuery, copyResultSet or dumpResultSet; a bad port or null argument of an open function;
 * STAPI_RC_NO_MEMORY for the trace of the first call (it goes to standard error), of getIdQuery and of an id list that
 * is too long only as a failed copy; STAPI_RC_QUERY_STRING_FAILED; STAPI_RC_END_OF_DATA. That a connection was removed
 * because a query failed is told at level 2.
 */
#ifndef ZULSTATS64_H
#define ZULSTATS64_H

#include <stdint.h>

#if defined(_WIN32) && !defined(ZULSTATS64_BUILD)
#define ZULSTATS64_API __declspec(dllimport)
#elif defined(__GNUC__) && !defined(_WIN32)
#define ZULSTATS64_API __attribute__((visibility("default")))
#else
#define ZULSTATS64_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Return codes. */
enum {
    /* The call succeeded. */
    STAPI_RC_OK = 0,
    /* Another thread was making the first call into the library at the same moment. Call again. */
    STAPI_RC_ALREADY_INITIALISED = 1,
    /* The gateway token is null. */
    STAPI_RC_NULL_TOKEN = -100,
    /* The gateway token is not that of an open connection. */
    STAPI_RC_TOKEN_NOT_FOUND = -101,
    /* An exchange of an opening or a query found the connection gone; the connection has been removed. */
    STAPI_RC_SOCKET_ERROR = -102,
    /* A required buffer is missing; never reaches a caller. */
    STAPI_RC_NO_DATA = -103,
    /* The trace level is not one of 0 to 5. */
    STAPI_RC_BAD_TRACE_LEVEL = -104,
    /* The address that is to receive the protocol version text is null. */
    STAPI_RC_NET_UNREACHABLE = -105,
    /* The result set belongs to a connection and cannot be freed by the caller. */
    STAPI_RC_NOT_USER_RESULT_SET = -106,
    /* The port is below 1 or above 65535. */
    STAPI_RC_BAD_PORT = -107,
    /* The address of the gateway token is null. */
    STAPI_RC_NULL_TOKEN_POINTER = -108,
    /* A required output pointer is null. */
    STAPI_RC_NULL_POINTER = -109,
    /* The result set has no buffer; its connection may have gone. */
    STAPI_RC_NO_RESULT_BUFFER = -110,
    /* Memory could not be allocated, or an id list or a daemon's version text is too long (above 32,765 characters). */
    STAPI_RC_NO_MEMORY = -111,
    /* The walk has reached the end of the result set. */
    STAPI_RC_END_OF_DATA = -113,
    /* The library's list of connections is corrupt, or holds 256 connections or more. */
    STAPI_RC_GTL_CORRUPT = -115,
    /* A result set was to be made for an unknown kind of owner; never reaches a caller. */
    STAPI_RC_BAD_OWNER = -116,
    /* Connecting failed: the handshake or the authorisation failed, or for a reason that has no code of its own. */
    STAPI_RC_CONNECT_FAILED = -118,
    /* The result set does not hold the kind of data asked for. */
    STAPI_RC_WRONG_CONTENT = -119,
    /* The daemon refused, or its reply is malformed or did not come; the connection has been removed. */
    STAPI_RC_BAD_EYECATCHER = -122,
    /* The connection, or its result set, belongs to another process. */
    STAPI_RC_WRONG_PROCESS = -123,
    /* The connection, or its result set, belongs to another thread. */
    STAPI_RC_WRONG_THREAD = -124,
    /* The address of the result set is null. */
    STAPI_RC_NULL_RESULT_SET_POINTER = -125,
    /* The id list is null. */
    STAPI_RC_NULL_ID = -126,
    /* The result set is null. */
    STAPI_RC_NULL_RESULT_SET = -127,
    /* The IdData record is null. */
    STAPI_RC_NULL_ID_DATA = -128,
    /* The StatData record is null. */
    STAPI_RC_NULL_STAT_DATA = -129,
    /* The trace file could not be opened for appending, or its name is too long. */
    STAPI_RC_TRACE_FILE_FAILED = -130,
    /* The result set has no id from which a query string could be built. */
    STAPI_RC_QUERY_STRING_FAILED = -131,
    /* Connecting failed: the host name could not be resolved. */
    STAPI_RC_HOST_UNKNOWN = -132,
    /* The host name is null. */
    STAPI_RC_NULL_ARGUMENT = -133,
    /* Connecting failed: no answer within 60 seconds. */
    STAPI_RC_CONNECT_TIMEOUT = -134,
    /* Connecting failed: the host refused the connection. */
    STAPI_RC_CONNECT_REFUSED = -135,
    /* Connecting failed: the network is unreachable. */
    STAPI_RC_HOST_UNREACHABLE = -136
};

/* One open connection. Made by the open functions, released by the close functions. */
typedef struct GatewayToken GatewayToken;

/* One result set: that of a connection, or a copy that the caller made with copyResultSet. */
typedef struct ResultSetToken ResultSetToken;

/*
 * One step of a walk over ids. The pointers point into the result set; no text ends with a NUL byte. They stay valid
 * until the next query on the connection, until the connection is closed or, for a copy, until freeResultSet.
 * queryElementRC below 0 says that the gateway could not answer this query element: such a step carries no id, and
 * idLen and idPtr keep what they held before.
 * Beware of a query element that was answered, but with no ids at all: the walk takes what follows it for one id, whose
 * length may be any number and whose bytes may lie outside the result set. Such a step is told by the number of
 * entries, 4 bytes in the host's order 8 bytes before the first entry's idPtr, which is where queryElementPtr +
 * queryElementLen + 12 points: when they are 0, the walk is to be ended, because what it hands out next is no id
 * either.
 */
typedef struct IdData {
    char eyecatcher[8];          /* "ZULIDSET", no NUL; set by the step that starts the walk */
    const char* queryElementPtr; /* the query element that this entry answers */
    uint32_t queryElementLen;    /* its length in bytes */
    int32_t queryElementRC;      /* the gateway's code for it; negative: failed */
    uint32_t idLen;              /* length of the id in bytes */
    const char* idPtr;           /* the id */
} IdData;

/*
 * One step of a walk over statistics; as IdData, with a value.
 */
typedef struct StatData {
    char eyecatcher[8];          /* "ZULSTSET", no NUL; set by the step that starts the walk */
    const char* queryElementPtr; /* the query element that this entry answers */
    uint32_t queryElementLen;    /* its length in bytes */
    int32_t queryElementRC;      /* the gateway's code for it; negative: failed */
    uint32_t statIdLen;          /* length of the statistic id in bytes */
    const char* statIdPtr;       /* the statistic id */
    uint32_t statValueLen;       /* length of the value in bytes */
    const char* statValuePtr;    /* the value, a text */
} StatData;

/* ---- The library itself ------------------------------------------------------------------------------------------ */

/*
 * Stores the address of the API version text ("1_1_0_1") in *apiVersPtr. The text belongs to the library, lives as long
 * as it is loaded, and is neither changed nor freed by the caller.
 * Codes: STAPI_RC_OK; STAPI_RC_NULL_POINTER (apiVersPtr is null). Any thread.
 */
ZULSTATS64_API int32_t getStatsAPIVersion(char** apiVersPtr);

/*
 * Stores the trace level, 0 to 5, in *traceStatePtr.
 * Codes: STAPI_RC_OK; STAPI_RC_NULL_POINTER (traceStatePtr is null). Any thread.
 */
ZULSTATS64_API int32_t getAPITraceLevel(int32_t* traceStatePtr);

/*
 * Sets the trace level of the whole process: 0 nothing, 1 failures, 2 events too, 3 the entry and exit of every
 * function too, 4 and 5 internal detail and hex dumps too.
 * Codes: STAPI_RC_OK; STAPI_RC_BAD_TRACE_LEVEL (below 0 or above 5; the level is unchanged). Any thread.
 */
ZULSTATS64_API int32_t setAPITraceLevel(int32_t traceState);

/*
 * Sends the trace of the whole process to the named file, which is opened for appending, or back to standard error when
 * traceFile is null. The name is copied; at most 1,023 bytes.
 * Codes: STAPI_RC_OK; STAPI_RC_TRACE_FILE_FAILED (the destination is unchanged). Any thread.
 */
ZULSTATS64_API int32_t setAPITraceFile(const char* traceFile);

/*
 * Writes the library's state and every open connection, with a hex dump of its result set, to the trace destination,
 * whatever the trace level. A connection that is being opened, or is in the middle of a query, is listed without the
 * dump; at most 256 connections are listed, and copies are not.
 * Codes: STAPI_RC_OK. Any thread.
 */
ZULSTATS64_API int32_t dumpState(void);

/* ---- Connections ------------------------------------------------------------------------------------------------- */

/*
 * As openRemoteGatewayConnection with the host "127.0.0.1".
 */
ZULSTATS64_API int32_t openGatewayConnection(int32_t port, GatewayToken** gwTokPtr, char** protoColVersion);

/*
 * Connects to the gateway daemon at a host (name or numeric address) and port (1 to 65535). On success stores the new
 * connection in *gwTokPtr and its protocol version text in *protoColVersion; that text belongs to the connection and is
 * not used after it is closed. On failure *gwTokPtr is unchanged, but for STAPI_RC_NO_MEMORY, which sets it to null
 * when the version text could not be copied. The connection belongs to the calling thread. More than 257 connections
 * may be opened, but those behind the 257th are not found by any function but closeAllGatewayConnections, and get
 * STAPI_RC_TOKEN_NOT_FOUND, until earlier ones are closed.
 * Codes: STAPI_RC_OK; in this order of checking STAPI_RC_BAD_PORT, STAPI_RC_NULL_TOKEN_POINTER,
 * STAPI_RC_NET_UNREACHABLE (protoColVersion is null), STAPI_RC_NULL_ARGUMENT (hostname is null); then
 * STAPI_RC_HOST_UNKNOWN, STAPI_RC_CONNECT_REFUSED, STAPI_RC_CONNECT_TIMEOUT, STAPI_RC_HOST_UNREACHABLE,
 * STAPI_RC_CONNECT_FAILED (the handshake or the authorisation failed, every other connection failure, or another thread
 * closed all connections meanwhile); STAPI_RC_SOCKET_ERROR and STAPI_RC_BAD_EYECATCHER (connected, but the daemon did
 * not tell its protocol version, or another thread closed all connections while it was asked); STAPI_RC_NO_MEMORY;
 * STAPI_RC_GTL_CORRUPT. Any thread.
 */
ZULSTATS64_API int32_t openRemoteGatewayConnection(const char* hostname, int32_t port, GatewayToken** gwTokPtr,
                                                   char** protoColVersion);

/*
 * Closes a connection, releases it with its result set and sets *gwTokPtr to null. Waits for the daemon's reply to the
 * close request. When its own thread is in the middle of a query on it, that query is cut off and ends with
 * STAPI_RC_TOKEN_NOT_FOUND.
 * Codes: STAPI_RC_OK; STAPI_RC_NULL_TOKEN_POINTER (gwTokPtr is null); STAPI_RC_NULL_TOKEN (*gwTokPtr is null);
 * STAPI_RC_TOKEN_NOT_FOUND (not an open connection; *gwTokPtr is unchanged). Any thread.
 */
ZULSTATS64_API int32_t closeGatewayConnection(GatewayToken** gwTokPtr);

/*
 * Closes every open connection of the process, those of other threads too. All are off the list at once; then they are
 * closed one after the other.
 * Codes: STAPI_RC_OK (also when there was none); STAPI_RC_GTL_CORRUPT (256 connections or more were open; 256 of them
 * have been closed: call again). Any thread.
 */
ZULSTATS64_API int32_t closeAllGatewayConnections(void);

/* ---- Queries ----------------------------------------------------------------------------------------------------- */

/*
 * The six queries. Each asks the gateway and stores the connection's result set through its last argument; every query
 * on a connection overwrites the result of the one before. The result set belongs to the connection and is not freed by
 * the caller. An id list is one id, or several separated by ":"; it is sent as it stands.
 * Codes, in this order of checking: STAPI_RC_NULL_TOKEN; STAPI_RC_NULL_ID (the id list is null, where there is one);
 * STAPI_RC_NULL_RESULT_SET_POINTER (the last argument is null); STAPI_RC_TOKEN_NOT_FOUND; STAPI_RC_WRONG_PROCESS;
 * STAPI_RC_WRONG_THREAD; STAPI_RC_NO_RESULT_BUFFER; STAPI_RC_NO_MEMORY (no memory for the id list, or it is longer than
 * 32,765 characters; nothing was sent); then STAPI_RC_OK; STAPI_RC_SOCKET_ERROR and STAPI_RC_BAD_EYECATCHER (the
 * exchange failed, or the daemon refused: the connection has been closed and removed, the token is no longer valid);
 * STAPI_RC_TOKEN_NOT_FOUND (another thread has closed the connection meanwhile). On failure the last argument's target
 * is unchanged. Only the thread that opened the connection.
 */

/* The ids of all resource groups. */
ZULSTATS64_API int32_t getResourceGroupIds(GatewayToken* gwTok, ResultSetToken** resGrpIdRSPtr);

/* The ids of all statistics. */
ZULSTATS64_API int32_t getStatIds(GatewayToken* gwTok, ResultSetToken** rs);

/* The ids of the statistics of the resource groups in the list. */
ZULSTATS64_API int32_t getStatIdsByStatGroupId(GatewayToken* gwTok, const char* providerIdsPtr,
                                               ResultSetToken** statIdRsPtr);

/* All statistics with their values. */
ZULSTATS64_API int32_t getStats(GatewayToken* gwTok, ResultSetToken** statRSPtr);

/* The statistics whose ids are in the list. */
ZULSTATS64_API int32_t getStatsByStatId(GatewayToken* gwTok, const char* statIdsPtr, ResultSetToken** statRSPtr);

/* The statistics of the resource groups in the list. */
ZULSTATS64_API int32_t getStatsByStatGroupId(GatewayToken* gwTok, const char* providerIdPtr,
                                             ResultSetToken** statRSPtr);

/* ---- Walking a result set ---------------------------------------------------------------------------------------- */

/*
 * A first call starts the walk anew; next calls go on. A next call on a result set whose walk has not begun starts it.
 * Each fills the caller's record (see IdData and StatData). At the end the code is STAPI_RC_END_OF_DATA and the record
 * is unchanged.
 * Codes, in this order of checking: STAPI_RC_NULL_RESULT_SET; STAPI_RC_NULL_ID_DATA or STAPI_RC_NULL_STAT_DATA;
 * STAPI_RC_WRONG_CONTENT (ids asked of statistics, or the reverse, or nothing was queried yet); STAPI_RC_WRONG_PROCESS
 * and STAPI_RC_WRONG_THREAD (a connection's result set); then STAPI_RC_OK (look at queryElementRC);
 * STAPI_RC_END_OF_DATA. A connection's result set: only the thread that opened it. A copy: one thread at a time.
 */
ZULSTATS64_API int32_t getFirstId(ResultSetToken* rsPtr, IdData* idDataPtr);
ZULSTATS64_API int32_t getNextId(ResultSetToken* rsPtr, IdData* idDataPtr);
ZULSTATS64_API int32_t getFirstStat(ResultSetToken* rsPtr, StatData* statDataPtr);
ZULSTATS64_API int32_t getNextStat(ResultSetToken* rsPtr, StatData* statDataPtr);

/* ---- Whole result sets ------------------------------------------------------------------------------------------- */

/*
 * Builds a query string "id1:id2:...:idN" from the ids (or statistic ids) of a result set, as the id list of a query,
 * and stores its address in *idQueryStringPtr. Only ids of query elements whose code is exactly 0 are taken. An id is
 * left out for which there is no room, a separator always counted: the first may have 31,998 bytes, and later ones may
 * fill the string up to 31,999. The text belongs to the result set, and lives until the next
 * getIdQuery on it or its release. Moves the result set's walk to its end.
 * Codes: STAPI_RC_OK; STAPI_RC_NO_MEMORY; STAPI_RC_NULL_RESULT_SET; STAPI_RC_NULL_POINTER (idQueryStringPtr is null);
 * STAPI_RC_WRONG_CONTENT; STAPI_RC_WRONG_PROCESS; STAPI_RC_WRONG_THREAD; STAPI_RC_QUERY_STRING_FAILED (no id to take;
 * *idQueryStringPtr is unchanged). Threads as for the walk.
 */
ZULSTATS64_API int32_t getIdQuery(ResultSetToken* rsPtr, char** idQueryStringPtr);

/*
 * Makes a copy of a result set that outlives later queries and the connection, and stores it in *tarRsPtr. The caller
 * owns it and releases it with freeResultSet. The copy's walk has not begun.
 * Codes: STAPI_RC_OK; STAPI_RC_NULL_RESULT_SET (srcRsPtr is null); STAPI_RC_NULL_RESULT_SET_POINTER (tarRsPtr is null);
 * STAPI_RC_NO_RESULT_BUFFER; STAPI_RC_WRONG_CONTENT; STAPI_RC_WRONG_PROCESS; STAPI_RC_WRONG_THREAD; STAPI_RC_NO_MEMORY
 * (*tarRsPtr is then unchanged, null, or a result set without a buffer, which freeResultSet takes). Threads as for the
 * walk of srcRsPtr.
 */
ZULSTATS64_API int32_t copyResultSet(ResultSetToken* srcRsPtr, ResultSetToken** tarRsPtr);

/*
 * Releases a copy made with copyResultSet and sets *rsPtr to null.
 * Codes: STAPI_RC_OK; STAPI_RC_NULL_RESULT_SET_POINTER (rsPtr is null); STAPI_RC_NULL_RESULT_SET (*rsPtr is null);
 * STAPI_RC_NOT_USER_RESULT_SET (a connection's result set; nothing is freed). Any thread, one at a time.
 */
ZULSTATS64_API int32_t freeResultSet(ResultSetToken** rsPtr);

/*
 * Writes a result set with a hex dump of its buffer to the trace destination, whatever the trace level.
 * Codes: STAPI_RC_OK; STAPI_RC_NULL_RESULT_SET; STAPI_RC_NO_RESULT_BUFFER; STAPI_RC_WRONG_CONTENT;
 * STAPI_RC_WRONG_PROCESS; STAPI_RC_WRONG_THREAD. Threads as for the walk.
 */
ZULSTATS64_API int32_t dumpResultSet(ResultSetToken* rsPtr);

#ifdef __cplusplus
}
#endif

#endif
