#include "gateway/names.h"

#include <algorithm>
#include <iterator>

#include "gateway/protocol.h"
#include "vxa/xa.h"
#include "vxa/xatmi.h"
#include "wire/header.h"

namespace vxa::gateway {

namespace {

struct Word {
  int code;
  const char* name;
  const char* meaning;
};

constexpr Word kXaCodes[] = {
    {XA_OK, "XA_OK", "done"},
    {XA_RDONLY, "XA_RDONLY", "nothing was changed, the branch is finished"},
    {XA_RETRY, "XA_RETRY", "not possible now, try again"},
    {XA_HEURMIX, "XA_HEURMIX", "partly committed and partly rolled back by hand"},
    {XA_HEURRB, "XA_HEURRB", "rolled back by hand"},
    {XA_HEURCOM, "XA_HEURCOM", "committed by hand"},
    {XA_HEURHAZ, "XA_HEURHAZ", "perhaps completed by hand"},
    {XA_NOMIGRATE, "XA_NOMIGRATE", "suspended, to be resumed on the same connection"},
    {XA_RBROLLBACK, "XA_RBROLLBACK", "rolled back"},
    {XA_RBCOMMFAIL, "XA_RBCOMMFAIL", "rolled back: the connection was lost"},
    {XA_RBDEADLOCK, "XA_RBDEADLOCK", "rolled back: deadlock"},
    {XA_RBINTEGRITY, "XA_RBINTEGRITY", "rolled back: the data would be inconsistent"},
    {XA_RBOTHER, "XA_RBOTHER", "rolled back: something failed"},
    {XA_RBPROTO, "XA_RBPROTO", "rolled back: protocol error inside the resource manager"},
    {XA_RBTIMEOUT, "XA_RBTIMEOUT", "rolled back: it took too long"},
    {XA_RBTRANSIENT, "XA_RBTRANSIENT", "rolled back: may succeed when tried again"},
    {XAER_ASYNC, "XAER_ASYNC", "an asynchronous request is outstanding"},
    {XAER_RMERR, "XAER_RMERR", "no valid answer from the gateway"},
    {XAER_NOTA, "XAER_NOTA", "no such branch"},
    {XAER_INVAL, "XAER_INVAL", "invalid arguments"},
    {XAER_PROTO, "XAER_PROTO", "not allowed in the state that the branch is in"},
    {XAER_RMFAIL, "XAER_RMFAIL", "the link to the gateway is broken, or the gateway cannot work"},
    {XAER_DUPID, "XAER_DUPID", "the branch exists already"},
    {XAER_OUTSIDE, "XAER_OUTSIDE", "work outside the transaction is going on"},
};

constexpr Word kTpErrors[] = {
    {0, "ok", "ok"},
    {TPEABORT, "TPEABORT", "the transaction was aborted"},
    {TPEBADDESC, "TPEBADDESC", "no call with that descriptor is outstanding"},
    {TPEBLOCK, "TPEBLOCK", "the call would have had to wait"},
    {TPEINVAL, "TPEINVAL", "an argument is not valid"},
    {TPELIMIT, "TPELIMIT", "too many calls are outstanding"},
    {TPENOENT, "TPENOENT", "there is no such service"},
    {TPEOS, "TPEOS", "the operating system refused something"},
    {TPEPERM, "TPEPERM", "not permitted"},
    {TPEPROTO, "TPEPROTO", "the call is not allowed here"},
    {TPESVCERR, "TPESVCERR", "the service broke"},
    {TPESVCFAIL, "TPESVCFAIL", "the service failed"},
    {TPESYSTEM, "TPESYSTEM", "the link or the system failed"},
    {TPETIME, "TPETIME", "no reply in time"},
    {TPETRAN, "TPETRAN", "the transaction cannot be joined"},
    {TPGOTSIG, "TPGOTSIG", "interrupted by a signal"},
    {TPERMERR, "TPERMERR", "a resource manager failed"},
    {TPEITYPE, "TPEITYPE", "the service does not take this type of data"},
    {TPEOTYPE, "TPEOTYPE", "the reply has another type than was asked for"},
};

constexpr Word kRequests[] = {
    {request::kCall, "tpcall", ""},      {request::kAsyncCall, "tpacall", ""},
    {request::kAcknowledge, "ack", ""},  {request::kPrepare, "xa_prepare", ""},
    {request::kCommit, "xa_commit", ""}, {request::kRollback, "xa_rollback", ""},
    {request::kStart, "xa_start", ""},   {request::kOnePhaseCommit, "xa_commit (one phase)", ""},
    {request::kEnd, "xa_end", ""},
};

constexpr Word kPayloads[] = {
    {payload::kStruct, "STRUCT", ""}, {payload::kField, "FIELD", ""}, {payload::kString, "STRING", ""},
    {payload::kCarray, "CARRAY", ""}, {payload::kStart, "START", ""}, {payload::kHeaderOnly, "no data", ""},
};

template <std::size_t N>
const Word* find(const Word (&words)[N], int code) {
  const Word* word = std::find_if(words, words + N, [code](const Word& each) { return each.code == code; });
  return word == words + N ? nullptr : word;
}

template <std::size_t N>
std::string name_in(const Word (&words)[N], int code) {
  const Word* word = find(words, code);
  return word ? word->name : std::to_string(code);
}

template <std::size_t N>
const char* meaning_in(const Word (&words)[N], int code) {
  const Word* word = find(words, code);
  return word ? word->meaning : "a code that is not known";
}

}  // namespace

std::string xa_code_name(int code) { return name_in(kXaCodes, code); }
const char* xa_code_meaning(int code) { return meaning_in(kXaCodes, code); }
std::string tp_error_name(int code) { return name_in(kTpErrors, code); }
const char* tp_error_meaning(int code) { return meaning_in(kTpErrors, code); }
std::string request_name(int msgtype) { return name_in(kRequests, msgtype); }
std::string payload_name(int type) { return name_in(kPayloads, type); }

}  // namespace vxa::gateway
