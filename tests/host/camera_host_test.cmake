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

expect(0 "^SIM0001\tLeft \\(top\\)\t.*\tfree\nSIM0002\t\tSecond\tSimulated\t\t\tUSB3 Vision\tfree\n$"
    list ${sim})
expect(0 "^S1\t[^\n]*\t10.0.0.2\t[^\n]*\nS1\t[^\n]*\t10.0.0.9\t[^\n]*\n$"
    list --simulate "gige serial=S1\ngige serial=S1 ip=10.0.0.9")
expect(2 "line 2 .*: 'hyperspace'" list --simulate "gige\nhyperspace")
expect(2 "line 1 .*: 'widht=64'" list --simulate "gige serial=A widht=64")
expect(3 "no camera was found" grab --simulate "# none")
expect(3 "no camera 'ABSENT'" grab --camera ABSENT ${sim})
expect(3 "no network card reaches|no camera could be opened at" grab --ip 203.0.113.7)
expect(2 "203.0.113.9 is no address of this machine" grab --ip 203.0.113.7 203.0.113.9)

# On request nothing may be lost, whatever the machine is busy with.
expect(0 "frames taken    5\n.*not delivered   0 .*dropped         0 .*pictures saved  2 as png in"
    grab --frames 5 --save-every 2 --out ${WORK}/pictures ${first})
expect_files(2 ${WORK}/pictures/frame-*.png)
expect_files(2 ${WORK}/pictures/*)
expect(0 "pictures saved  3 as raw in.*disk dropped    0 "
    grab --frames 3 --format raw --out ${WORK}/raw ${first})
expect_files(3 ${WORK}/raw/frame-*.txt)
expect(0 "frames taken    20\n" grab --run-by-camera --frames 20 --camera SIM0002 ${sim})
expect(0 "frames taken    [1-9]" grab --seconds 2 ${first})
# A camera that waits for a line sends nothing on a software trigger.
expect(4 "frames taken    0\n.*not delivered   3 .*no frame came"
    grab --trigger-source 0 --timeout 1 --frames 5 ${first})

expect(0 "^50\n$" get ImageCacheNum)
expect(0 "^640\\$" get Width ${first})
expect(1 "needs --camera" get Width)
expect(1 "knows 'Colourfulness'\n" get Colourfulness ${first})
expect(1 "LogLevel is only written" get LogLevel)

expect(0 "^ImageCacheNum = 7\nWidth = 320\nPixelFormat = Mono16\nTriggerMode = Off\nTriggerSoftware done\n"
    set ImageCacheNum 7 Width 320 PixelFormat Mono16 TriggerMode Off TriggerSoftware 1 ${first})
expect(1 "knows 'ExposureTme' \\(did you mean 'ExposureTime'\\?\\)" set ExposureTme 5000 ${first})
expect(1 "no entry 'Mno8'.*did you mean 'Mono8'" set PixelFormat Mno8 ${first})
expect(1 "no key 'imagecachenum' \\(did you mean 'ImageCacheNum'" set imagecachenum 5)
expect(1 "^SoftTriggerWaitTime = 9\ncamera_host: ImageCacheNum reads back '50', not 'abc'"
    set ImageCacheNum abc SoftTriggerWaitTime 9)
expect(1 "SoftTriggerWaitTime reads back '2', not '99999'" set SoftTriggerWaitTime 99999)
expect(1 "0x80000102 \\(outside the feature's range\\)" set Width 3 ${first})
expect(1 "did you mean 'Width'" grab --set Widht=320 ${first})

expect(0 "^TriggerMode\tOff\tread, write\tOff, On\n$" features triggermode ${first})
expect(1 "no feature 'Triggermoed' \\(did you mean 'TriggerMode'" features Triggermoed ${first})
expect(0 "entries +Off \\(0\\), On \\(1\\)\n" describe TriggerMode ${first})
expect(0 "value +50 frames\n" describe ImageCacheNum)
expect(0 "ExposureTime\t[0-9.]+\t.* to .*\tmicroseconds|ExposureTime\t.*exposure" params ${first})
expect(0 "ok +owner +free\n.*shared memory" doctor ${first})
# The camera was opened, and is not back from anywhere.
expect(0 "^[0-9:.]+ on line .*frames/s" watch --seconds 2 --gentl ${WORK} --simulate default)

expect(0 "^$" save ${WORK}/line.solution --set ImageCacheNum=9 --set LogLevel=4 ${first})
expect(0 "ImageCacheNum\t9\t.*SerialNumber\tSIM0001\t" load ${WORK}/line.solution ${sim})
expect(3 "the saved camera 'SIM0001' did not come" load ${WORK}/line.solution --simulate "usb3 serial=OTHER")
expect(1 "could not be loaded" load ${WORK}/absent.solution)
expect(1 "is no file that could be replaced" save ${WORK})

file(WRITE ${WORK}/pictures/broken.png "no picture")
expect(1 "'broken.png' cannot be read" folder ${WORK}/pictures)
file(REMOVE ${WORK}/pictures/broken.png)
expect(0 "frame-00000[24].png\t640x480\tMono8\t307200 bytes\n.*pictures saved  2 as tiff"
    folder ${WORK}/pictures --format tiff --out ${WORK}/copies)
expect_files(2 ${WORK}/copies/*.tif)
expect(1 "cannot be listed" folder ${WORK}/absent)

# What programs read.
function(expect_json path value)
    execute_process(COMMAND ${EMULATOR} ${HOST} ${ARGN} --json
        RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE error TIMEOUT 120)
    # One object per line.
    string(REGEX REPLACE "}\n{.*" "}" output "${output}")
    separate_arguments(path)
    string(JSON found ERROR_VARIABLE wrong GET "${output}" ${path})
    if(NOT result EQUAL 0 OR NOT found STREQUAL value)
        message(SEND_ERROR "${ARGN} --json: ${path} is '${found}' ${wrong}\n${output}${error}")
    endif()
endfunction()
expect_json("0 manufacturer" "Simulated" list ${sim})
expect_json("0 type" "integer" params)
expect_json("0 entries 0 name" "Off" features TriggerMode ${first})
expect_json("maximum" "640" get Width ${first})
expect_json("frames" "3" grab --frames 3 ${first})
expect_json("event" "state" watch --seconds 2 ${first})
expect_json("0 verdict" "ok" doctor ${first})

# The page about the module's keys is printed by the program.
execute_process(COMMAND ${EMULATOR} ${HOST} params --markdown
    OUTPUT_FILE ${WORK}/parameters.md RESULT_VARIABLE result)
file(READ ${WORK}/parameters.md printed)
file(READ ${PARAMETER_PAGE} page)
if(NOT result EQUAL 0 OR NOT printed STREQUAL page)
    message(SEND_ERROR "${PARAMETER_PAGE} is out of date: camera_host params --markdown")
endif()

# A full disk ends the run at once, with its reason and a summary.
if(EXISTS /dev/full AND NOT EMULATOR)
    file(MAKE_DIRECTORY ${WORK}/full)
    file(CREATE_LINK /dev/full ${WORK}/full/frame-000003.tif.part SYMBOLIC)
    expect(1 "frames taken  .*pictures saved  .*frame-000003.tif' could not be written: No space left"
        grab --frames 100000 --format tiff --out ${WORK}/full ${first})
endif()

# A reader that goes away, as `head` does.
foreach(endless "watch;${first}" "folder;${WORK}/pictures;--frames;1000000000")
    execute_process(COMMAND ${EMULATOR} ${HOST} ${endless} COMMAND ${CMAKE_COMMAND} -E true
        RESULTS_VARIABLE results ERROR_VARIABLE error TIMEOUT 60)
    if(NOT results STREQUAL "1;0" OR NOT error MATCHES "output could not be written")
        message(SEND_ERROR "${endless}, not read: ended with ${results}\n${error}")
    endif()
endforeach()

expect(1 "cannot be loaded" list --module ${WORK}/absent)
expect(1 "is no module" params --module ${NO_MODULE})
expect(1 "could not be created: 0xE0000002" params --module ${BROKEN_MODULE})

# Ctrl-C, where a shell's tool can send it.
find_program(TIMEOUT_PROGRAM timeout)
if(TIMEOUT_PROGRAM AND NOT EMULATOR AND NOT CMAKE_HOST_WIN32)
    # After seconds enough for a busy machine. In the foreground, or it would send the signal twice, and the second one ends the program.
    set(EMULATOR ${TIMEOUT_PROGRAM} --foreground --preserve-status -s INT 5)
    expect(130 "frames taken    [1-9]" grab --run-by-camera --frames 1000000 ${first})
    expect(130 "frames/s" watch ${first})
endif()
