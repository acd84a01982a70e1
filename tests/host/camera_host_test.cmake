# Runs the program as a person would, and looks at what it says and how it ends.

# expect(CODE REGEX arguments...): the exit code, and what the output must match.
function(expect code regex)
    execute_process(COMMAND ${EMULATOR} ${HOST} ${ARGN}
        RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE error TIMEOUT 120)
    if(NOT result EQUAL code)
        message(SEND_ERROR "${ARGN}: ended with ${result}, not ${code}\n${output}${error}")
    elseif(NOT "${output}${error}" MATCHES "${regex}")
        message(SEND_ERROR "${ARGN}: does not match '${regex}':\n${output}${error}")
    endif()
endfunction()

function(expect_files count)
    file(GLOB files ${ARGN})
    list(LENGTH files found)
    if(NOT found EQUAL count)
        message(SEND_ERROR "${found} files ${ARGN}, not ${count}")
    endif()
endfunction()

file(REMOVE_RECURSE ${WORK})
file(MAKE_DIRECTORY ${WORK})
file(WRITE ${WORK}/cameras
    "gige serial=SIM0001 name=\"Left (top)\" rate=200\n"
    "usb3 serial=SIM0002 maker=Simulated model=Second format=RGB8 rate=200\n")
set(sim --simulate @${WORK}/cameras)
set(first --camera SIM0001 ${sim})

expect(0 "Commands:")
expect(0 "--run-by-camera" grab --help)
expect(0 "camera_host [0-9]" --version)
expect(2 "camera_host: there is no command 'shoot'" shoot)

expect(0 "^SIM0001\tLeft \\(top\\)\nSIM0002\tSimulated Second\n$" list ${sim})
expect(0 "SIM.*\t" list --simulate default)
expect(2 "line 2" list --simulate "gige\nhyperspace")
expect(3 "no camera was found" grab --simulate "# none")
expect(3 "no camera 'ABSENT'" grab --camera ABSENT ${sim})

# On request nothing may be lost, whatever the machine is busy with.
expect(0 "frames taken    5\n.*not delivered   0 .*dropped         0 .*pictures saved  2 in"
    grab --frames 5 --save-every 2 --out ${WORK}/pictures ${first})
expect_files(2 ${WORK}/pictures/frame-*.png)
expect_files(2 ${WORK}/pictures/*)
expect(0 "frames taken    20\n" grab --run-by-camera --frames 20 --camera SIM0002 ${sim})
# A camera that waits for a line sends nothing on a software trigger.
expect(4 "frames taken    0\n.*not delivered   3 .*no frame came"
    grab --trigger-source 0 --timeout 1 --frames 5 ${first})

expect(0 "^50\n$" get ImageCacheNum)
expect(0 "^640\\$" get Width ${first})
expect(1 "needs --camera" get Width)
expect(1 "no such feature" get Colourfulness ${first})
expect(1 "LogLevel is only written" get LogLevel)
expect(0 "^ImageCacheNum = 7\nWidth = 320\\$" set ImageCacheNum 7 Width 320 ${first})
expect(0 "^camera_host: ExposureTme does not read back" set ExposureTme 5000 ${first})
expect(1 "0xE0000410 \\(no camera is open\\)" set Width 320)
expect(1 "0x80000102 \\(outside the feature's range\\)" set Width 3 ${first})
expect(0 "ExposureTime\t[0-9.]+\t.* to .*\tmicroseconds" params ${first})
# The camera was opened, and is not back from anywhere.
expect(0 "^camera on line\non line .*frames/s" watch --seconds 2 --gentl ${WORK}
    --simulate default)

expect(0 "^$" save ${WORK}/line.solution --set ImageCacheNum=9 --set LogLevel=4 ${first})
expect(0 "SerialNumber\tSIM0001\t.*ImageCacheNum\t9\t" load ${WORK}/line.solution ${sim})
expect(1 "could not be loaded" load ${WORK}/absent.solution)

expect(0 "1\t640x480\tMono8\t307200 bytes\n2\t.*pictures saved  2" folder ${WORK}/pictures
    --out ${WORK}/copies)
expect_files(2 ${WORK}/copies/*)
expect(1 "cannot be listed" folder ${WORK}/absent)

# A reader that goes away, as `head` does.
foreach(endless "watch;${first}" "folder;${WORK}/pictures;--frames;1000000000")
    execute_process(COMMAND ${EMULATOR} ${HOST} ${endless} COMMAND ${CMAKE_COMMAND} -E true
        RESULTS_VARIABLE results ERROR_VARIABLE error TIMEOUT 60)
    if(NOT results STREQUAL "1;0" OR NOT error MATCHES "output could not be written")
        message(SEND_ERROR "${endless}, not read: ended with ${results}\n${error}")
    endif()
endforeach()

expect(1 "cannot be loaded" list --module ${WORK}/absent)
expect(1 "is no module" list --module ${NO_MODULE})
expect(1 "could not be created: 0xE0000002" list --module ${BROKEN_MODULE})

# Ctrl-C, where a shell's tool can send it.
find_program(TIMEOUT_PROGRAM timeout)
if(TIMEOUT_PROGRAM AND NOT EMULATOR AND NOT CMAKE_HOST_WIN32)
    # After seconds enough for a busy machine. In the foreground, or it would send the signal twice, and the second one ends the program.
    set(EMULATOR ${TIMEOUT_PROGRAM} --foreground --preserve-status -s INT 5)
    expect(130 "frames taken    [1-9]" grab --run-by-camera --frames 1000000 ${first})
    expect(130 "frames/s" watch ${first})
endif()
