// Writes a function's entry record when constructed and its exit record when
// the scope ends, whichever way it ends.
#pragma once

#include "log/dbg_log.h"

class FunctionTrace {
public:
    // Entry and exit records with one text, e.g. "CreateBuffer()".
    FunctionTrace(const char* tag, const char* text) : FunctionTrace(tag, text, text) {}
    // Entry and exit records with their own texts, e.g. "     OpenPort->" and
    // "     OpenPort<-".
    FunctionTrace(const char* tag, const char* entryText, const char* exitText)
        : m_tag(tag), m_exitText(exitText)
    {
        Dbg_Printf(m_tag, DBG_ENTRY, "%s", entryText);
    }
    ~FunctionTrace() { Dbg_Printf(m_tag, DBG_EXIT, "%s", m_exitText); }
    FunctionTrace(const FunctionTrace&) = delete;
    FunctionTrace& operator=(const FunctionTrace&) = delete;

private:
    const char* m_tag;
    const char* m_exitText;
};
