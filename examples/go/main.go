// A backup service in outline, in Go, by plain loading of OrbWatcher4.dll: it loads a selection, watches it, takes what
// has changed, records it as backed up, and ends cleanly. Where it says "copy", a product copies.
//
//	go SELECTION.xml INDEX.db [FILES]
//
// FILES: end after so many. Without it, Ctrl-C ends the service. OrbWatcherC.h describes each function.
package main

import (
	"fmt"
	"os"
	"os/signal"
	"runtime"
	"strconv"
	"syscall"
	"time"
	"unsafe"
)

const (
	ok             = 0
	wrongState     = 6
	fileUnreadable = 11

	directory = 0x04

	pollInterval = 100 * time.Millisecond
	longestStart = 60000 // milliseconds
)

// The structs as OrbWatcherC.h declares them; docs/embedding.md lists their sizes.
type watcherOptions struct {
	size, hiddenFiles             uint32
	selection, indexDatabase      *uint16
	autoExclusions, advancedRules *uint16
	destination, secondaryRules   *uint16
	keepEvents, reserved          uint32
}

type pendingFile struct {
	size, flags                    uint32
	id, fileSize                   uint64
	modificationTime, creationTime int64
	attributes, ruleValue          uint32
	path                           [1536]uint16
	ruleTexts                      [260]uint16
	ruleNumbers                    [520]uint16
	fileId                         uint64
	volumeSerial, reserved         uint32
}

type deletion struct {
	size uint32
	job  int32
	id   uint64
	path [1536]uint16
}

var library = syscall.NewLazyDLL("OrbWatcher4.dll")

// Calls a function of the library and returns its result. main keeps the goroutine on one thread: the reason of a
// failure is kept for the calling thread.
func call(name string, arguments ...uintptr) int {
	result, _, _ := library.NewProc(name).Call(arguments...)
	return int(int32(result))
}

func text(s string) *uint16 {
	units, err := syscall.UTF16PtrFromString(s)
	if err != nil {
		panic(err)
	}
	return units
}

// After a call that has failed.
func tellFailure(what string) {
	var why [512]uint16
	call("OrbLastFailure", uintptr(unsafe.Pointer(&why)), uintptr(len(why)), 0)
	fmt.Fprintf(os.Stderr, "%s: %s\n", what, syscall.UTF16ToString(why[:]))
}

// A file that comes back after its deletion is a new one. Comes before the next file is recorded.
func forgetDeletions(watcher, index uintptr) {
	gone := deletion{size: uint32(unsafe.Sizeof(deletion{}))}
	for call("OrbDeletionTake", watcher, uintptr(unsafe.Pointer(&gone))) == ok {
		call("OrbIndexForgetDeleted", index, uintptr(unsafe.Pointer(&gone)))
	}
}

// The service runs on: what fails is tried again when the file changes the next time.
func backUp(index uintptr, file *pendingFile) {
	path := syscall.UTF16ToString(file.path[:])
	// Copy the file here; what cannot be copied is put back with OrbPendingPutBack.
	fmt.Println("changed: " + path)
	// What cannot be read now stays new, so that it is backed up later rather than never.
	if result := call("OrbIndexRecord", index, uintptr(unsafe.Pointer(file))); result != ok && result != fileUnreadable {
		tellFailure(path)
	}
}

// Until the end is asked for, or `files` have been taken; 0: no end.
func drainPending(watcher, index uintptr, files int, end <-chan os.Signal) {
	file := pendingFile{size: uint32(unsafe.Sizeof(pendingFile{}))}
	for taken := 0; files == 0 || taken < files; {
		result := call("OrbPendingTake", watcher, uintptr(unsafe.Pointer(&file)))
		forgetDeletions(watcher, index)
		call("OrbEnumerationNoteCompleted", watcher) // when there is one
		if result == ok {
			backUp(index, &file)
			if file.flags&directory == 0 {
				taken++
			}
			continue
		}
		select {
		case <-end:
			return
		case <-time.After(pollInterval):
		}
	}
}

// The code to end with.
func serve(watcher, index uintptr, files int, end <-chan os.Signal) int {
	code := 0
	if call("OrbWatcherStart", watcher, longestStart) == ok {
		fmt.Println("ready")
		drainPending(watcher, index, files, end)
	} else {
		tellFailure("the watcher did not start")
		code = 1
	}
	// What is still pending waits for the next start.
	if stopped := call("OrbWatcherStop", watcher); stopped != ok && stopped != wrongState {
		tellFailure("the end")
		code = 1
	}
	forgetDeletions(watcher, index)
	return code
}

func run(arguments []string) int {
	if len(arguments) < 3 {
		fmt.Fprintln(os.Stderr, "usage: go SELECTION.xml INDEX.db [FILES]")
		return 2
	}
	end := make(chan os.Signal, 1)
	signal.Notify(end, os.Interrupt)

	var index uintptr
	indexPath := text(arguments[2])
	if call("OrbIndexOpen", uintptr(unsafe.Pointer(indexPath)), 0, uintptr(unsafe.Pointer(&index))) != ok {
		tellFailure("the index cannot be used")
		return 1
	}
	defer call("OrbIndexClose", index)
	options := watcherOptions{selection: text(arguments[1]), indexDatabase: indexPath, keepEvents: 1}
	options.size = uint32(unsafe.Sizeof(options))
	var watcher uintptr
	if call("OrbWatcherCreate", uintptr(unsafe.Pointer(&options)), uintptr(unsafe.Pointer(&watcher))) != ok {
		tellFailure("the selection cannot be loaded")
		return 2
	}
	defer call("OrbWatcherDestroy", watcher)
	files := 0
	if len(arguments) > 3 {
		files, _ = strconv.Atoi(arguments[3])
	}
	return serve(watcher, index, files, end)
}

func main() {
	runtime.LockOSThread()
	code := run(os.Args)
	fmt.Println("ended")
	os.Exit(code)
}
