// Receiving and showing traces.
#ifndef PLINTH_W32_SYSTEM_TRACE_VIEWING_H
#define PLINTH_W32_SYSTEM_TRACE_VIEWING_H

#include <atomic>
#include <cstdint>
#include <list>
#include <map>

#include "base.h"

// ------------------------------------------------------------------------------ trace viewing --

// One waiting text: up to 1,024 bytes, narrow; a text that fills the array has no terminator.
class QV_API CSyncCacheMember
{
public:
    explicit CSyncCacheMember(char* src); // null makes an empty text
    CSyncCacheMember(const CSyncCacheMember&) = default;
    CSyncCacheMember& operator=(const CSyncCacheMember& other); // copies the whole array

    char m_szText[1024]; // the text, then a terminator if there is room
};

// An unbounded first-in, first-out store: narrow texts go in, wide texts come out. Any number of
// threads may push and pop; while one is copied, no other thread may use it.
class QV_API CSyncCache
{
public:
    CSyncCache();
    ~CSyncCache();                                  // drops the texts that still wait
    CSyncCache(const CSyncCache& other);            // copies the texts, not the lock
    CSyncCache& operator=(const CSyncCache& other); // the same

    // Appends a copy of the first 1,024 bytes of the text; null counts as empty. Always 0, unless
    // there is no memory: QV_ERR_FAILED, and the text is lost.
    int PushBack(char* src);

    // Moves the oldest text into dst, which has room for 1,024 characters and is always terminated
    // (at most 1,023 are kept). 0, or QV_ERR_FAILED if the cache is empty.
    int PopFrontW(wchar_t* dst);

private:
    std::list<CSyncCacheMember> m_Items;
    CRITICAL_SECTION m_Lock;
};

class CDebugWindow;

// A window class description, at first all zeroes except its size.
class QV_API CWndClassEx : public WNDCLASSEXW
{
public:
    CWndClassEx();
    CWndClassEx(const CWndClassEx&) = default;
    CWndClassEx& operator=(const CWndClassEx& other); // copies the description
};

// The description for the debug windows, "PLINTH_DEBUG_WINDOW", with the given procedure. It
// belongs to the application's module.
class QV_API CDbgWndClassEx : public CWndClassEx
{
public:
    explicit CDbgWndClassEx(WNDPROC pfnWndProc); // receives the windows' messages
    CDbgWndClassEx(const CDbgWndClassEx&) = default;
    CDbgWndClassEx& operator=(const CDbgWndClassEx& other); // copies the description
};

// The objects of the debug string channel that a listener holds. A part of CDebugFramework, not for
// separate use.
class COutDbgStringSync
{
public:
    // Creates the objects, as far as possible; quiet: no message box if another listener has them.
    explicit COutDbgStringSync(bool bQuiet);
    virtual ~COutDbgStringSync(); // closes the objects that were created
    COutDbgStringSync(const COutDbgStringSync&) = delete;
    COutDbgStringSync& operator=(const COutDbgStringSync&) = delete;

    bool m_bValid;                    // all objects were created
    HANDLE m_eventDBWIN_BUFFER_READY; // the buffer is free
    HANDLE m_eventDBWIN_DATA_READY;   // a text is in the buffer
    HANDLE m_SharedFile;              // the mapping DBWIN_BUFFER
    void* m_SharedMem;                // its view: the sender's process id, then the text
    SECURITY_ATTRIBUTES m_sa;         // of all objects
    SECURITY_DESCRIPTOR m_sd;         // in m_sa: every user may use them
};

// The receiving end of the debug string channel. A listener thread takes each text of every process
// and frees the channel. An adder thread passes the texts to AddItem, one at a time, in order, with
// no lock held. A machine can have one listener at a time.
//
// The full constructor opens the first debug window, with the identifier 0, and starts the threads.
// The others create the channel objects and start nothing: a subclass starts the threads.
//
// A forked child has no listener: its copy of the object does nothing, and releases what its parent
// still holds.
//
// A subclass that overrides AddItem and starts threads calls StopThreads in its own destructor,
// while its AddItem may still be called.
//
// A module that has one of its own must end it before FreeLibrary, not in its DllMain or in a
// static destructor: threads can't end while a module is unloaded, so the destructor would wait
// 3,000 ms for each thread and then terminate it. Nor may it create one there: threads can't begin,
// so the constructor would wait for its window for ever. (The object of DiagOutputWnd ends at once
// when this library is unloaded.)
class QV_API CDebugFramework
{
public:
    // hParent: the owner of the debug windows; none if it is null or no window. If another listener
    // runs, a message box reports that; the window opens all the same and stays empty.
    explicit CDebugFramework(HWND hParent);
    CDebugFramework();
    explicit CDebugFramework(bool bQuiet); // quiet: no message box if another listener runs
    CDebugFramework(const CDebugFramework&) = delete;
    CDebugFramework& operator=(const CDebugFramework&) = delete;

    // Opens a window for the identifier and returns when it exists. No effect if there is one
    // already, or without memory. While the threads run, only the adder thread may call this.
    void CreateDebugWindow(int nId);

    // Shows the text as a row of a window. A tag in the text selects the window: "|wndid:", a
    // decimal number and everything up to a blank. The tag must be at the very start of the text,
    // or anywhere after the time stamp of a trace record. The row is the text without the tag; tabs
    // divide it into columns. A text without a tag, or with the identifier 2147483647, is not
    // shown. The first identifier that arrives uses the first window; each further one has a window
    // of its own. Rows for a window that the user has closed are dropped.
    virtual void AddItem(const wchar_t* text);

    // Ends the threads, waiting up to 3,000 ms for each before terminating it, then closes the
    // windows, with the same limit for each; texts that still wait are dropped.
    virtual ~CDebugFramework();

    // The procedures of the two threads; pThis is the framework. The result has no meaning.
    static unsigned int listener_thread_proc(void* pThis);
    static unsigned int adder_thread_proc(void* pThis);

protected:
    // Starts both threads. sourceFile: for the report of a failure.
    void StartThreads(const char* sourceFile);
    // Ends the threads, as the destructor does; no effect if there are none.
    void StopThreads();

    bool m_bFirstItem;                          // no row has been shown
    HWND m_hParent;                             // owner of the windows, may be null
    std::map<int32_t, CDebugWindow*> m_Windows; // by identifier; owned, the adder thread's
    std::atomic<int32_t> m_lPending;            // texts in the cache, and the adder's wake-up count
    HANDLE m_ListenerThread;                    // null while there is none
    uint32_t m_uListenerThreadId;               // the thread's id in the system
    std::atomic<bool> m_bListenerRun;           // false: the listener is to end
    HANDLE m_AdderThread;                       // null while there is none
    uint32_t m_uAdderThreadId;                  // the thread's id in the system
    std::atomic<bool> m_bAdderRun;              // false: the adder is to end
    COutDbgStringSync m_Sync;                   // the channel
    CSyncCache m_Cache;                         // texts that wait for the adder

private:
    void Renew();
    friend struct QvFrameworksAtFork;
    friend struct QvFrameworkThreads;

    std::atomic<uint32_t> m_ListenerStage; // the stages of the two threads
    std::atomic<uint32_t> m_AdderStage;
};

// Opens the trace window of the application: creates the one debug framework that the library keeps
// until the process ends. If there is one already, nothing happens if recreate is 0; otherwise it
// is deleted and a new one created. parent: see CDebugFramework. Calls of several threads must not
// overlap. A CDebugFramework shows a trace record in the window that its "|wndid:" tag names.
extern "C" QV_API void DiagOutputWnd(HWND parent, int recreate);

class CQvDbgCapt;

// Receives every text that any process of the user sends to the debug string channel, from
// construction to destruction.
//
// The callback runs on a thread of the object, one text at a time, in order of arrival, with no
// lock held; the text, of at most 1,023 characters, is valid during the call. It must not destroy
// its own object. A callback that traces calls itself without end. If another listener has the
// channel, nothing arrives. The destructor waits up to 3,000 ms for a running callback, then ends
// its thread. It must not run while a module is unloaded, see CDebugFramework.
class QV_API CQvDebugOutputCapture
{
public:
    explicit CQvDebugOutputCapture(void (*pfn)(const wchar_t*)); // null: texts are discarded
    virtual ~CQvDebugOutputCapture();
    CQvDebugOutputCapture(const CQvDebugOutputCapture&) = delete;
    CQvDebugOutputCapture& operator=(const CQvDebugOutputCapture&) = delete;

private:
    CQvDbgCapt* m_pCapt;
    [[maybe_unused]] void (*m_pfnCallback)(const wchar_t*); // as it was given
};

#endif
