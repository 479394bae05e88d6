#!/bin/sh
# The main job: installs what is missing, builds qvtool (x86_64) and runs it under Wine on
# the sample text built into it. Any other arguments are passed to one qvtool call instead,
# e.g. tools/run.sh chunks --piece 100
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/tools/setup.sh"
"$root/tools/build.sh" x86_64 --target qvtool >/dev/null

build="$root/build/x86_64"
qvtool() {
    echo "\$ qvtool $*"
    "$root/tools/wine/wine-run.sh" "$build" "$build/bin/qvtool.exe" "$@"
}

"$root/tools/wine/wine-session.sh" "$build" start
trap '"$root/tools/wine/wine-session.sh" "$build" stop' EXIT
if [ $# -gt 0 ]; then
    qvtool "$@"
    exit
fi
qvtool --version
qvtool chunks
qvtool chunks --piece 64
qvtool sysinfo --env PATHEXT
# The log: every line of the sample, time-stamped and tagged, through the library's COM
# entry point (the file is created anew each time).
cd "$root"
qvtool log build/x86_64/sample.log --tag sample --indent 1 --stdin <tools/qvtool/sample/sample.txt
echo "\$ cat build/x86_64/sample.log"
cat build/x86_64/sample.log
# The file commands look at the build tree itself (Wine sees the current directory).
cd "$build"
qvtool ls 'bin\*.dll'
qvtool du bin lib
# Streams: the sample compressed, cut into CRC blocks and Base64-encoded, then decoded again;
# the digests of the original and of the round trip agree.
qvtool encode --filters compress:9,crc,base64:64 ../../tools/qvtool/sample/sample.txt sample.b64
echo "\$ head -3 sample.b64"
head -3 sample.b64
qvtool decode --filters compress,crc,base64 sample.b64 sample.back
qvtool md5 ../../tools/qvtool/sample/sample.txt sample.back
qvtool now
# Settings: the sample settings file read, changed and listed through the library's profile.
cp "$root/tools/qvtool/sample/settings.ini" settings.ini
qvtool ini settings.ini get Window Pos --type point
qvtool ini settings.ini set Window Size 640,480 --type point
qvtool ini settings.ini list Window
# The sample (UTF-8) through String's code-page conversions; the sizes go to the error stream.
convertSample() {
    echo "\$ qvtool convert $* < sample.txt > /dev/null"
    "$root/tools/wine/wine-run.sh" "$build" "$build/bin/qvtool.exe" convert "$@" \
        < "$root/tools/qvtool/sample/sample.txt" > /dev/null
}
convertSample --from utf-8 --to utf-16le --info
convertSample --from utf-8 --to 1252 --info
# Applications: how an application built on the library reads its command line (options begin
# with '-' or '/'), every module loaded in qvtool's process, and a library's version resource.
qvtool args /regserver -UNREGSERVER file.txt other.txt -
qvtool modules
qvtool version bin/qvcore.dll
# Colours both ways, and a look inside a file through mapped views: the qvtool executable's
# own header, then 32 bytes from 1 MiB into a sparse file of 5 GiB (only holes on the disk).
qvtool color '#FF8000'
qvtool color 0.5,1,1
qvtool map bin/qvtool.exe 0 64
python3 -c "f = open('sparse.bin', 'wb'); f.truncate(5 << 30); f.seek((4 << 30) + (1 << 20)); f.write(b'far beyond 4 GiB')"
qvtool map sparse.bin 0x100100000 32
rm -f sparse.bin
# Images: the sample images described, the badge blended onto the picture through the
# library's alpha blit, and the result written as a 32-bit BMP with its alpha channel and as
# a PNG twice the size.
cd "$build"
sample=../../tools/qvtool/sample
qvtool image info $sample/sample.png $sample/badge.png $sample/blink.gif
qvtool image compose $sample/sample.png $sample/badge.png composed.bmp --at 12,4 --opacity 200
qvtool image convert composed.bmp composed.png --width 48
qvtool image info composed.bmp composed.png
# XML: the sample catalog through the system's XML parser. The newer generation takes XPath,
# the first a tag pattern (whose alternatives also match shorter tags: It); a schema check;
# a malformed document read from standard input.
cd "$build"
sample=../../tools/qvtool/sample
qvtool xml $sample/catalog.xml 'Item|Group' --attr id --attr title --generation 4
qvtool xml $sample/catalog.xml 'Item|Group' --attr id --attr title --generation 1
qvtool xml $sample/catalog.xml '//file' --text
qvtool xml $sample/catalog.xml --validate $sample/catalog.xsd
echo "\$ printf '<a><b></a>' | qvtool xml -"
printf '<a><b></a>' | "$root/tools/wine/wine-run.sh" "$build" "$build/bin/qvtool.exe" xml - || echo "(exit code $?)"
# Object graphs: a sample playlist (tracks that share an album and lead to each other in a
# cycle, a singleton theme) written compressed, then listed item by item.
qvtool sample-graph --filters compress sample.graph
qvtool dump --filters compress sample.graph
# Registry: typed values written, listed and removed through RegistryKey; the library registers
# itself as the log's COM server (as regsvr32 does), and Wine's reg.exe reads the server key.
qvtool reg set 'HKCU\Software\QvCore Demo' Volume 75 --type int
qvtool reg set 'HKCU\Software\QvCore Demo' Ratio 1.5 --type float
qvtool reg list 'HKCU\Software\QvCore Demo'
qvtool reg delete 'HKCU\Software\QvCore Demo'
qvtool reg register 'bin\qvcore.dll'
echo "\$ reg query HKLM\\Software\\Classes\\CLSID\\{16D389DE-1A3F-4A43-986D-2D07C91F911B}\\InprocServer32"
"$root/tools/wine/wine-run.sh" "$build" reg query \
    'HKLM\Software\Classes\CLSID\{16D389DE-1A3F-4A43-986D-2D07C91F911B}\InprocServer32'
qvtool reg unregister 'bin\qvcore.dll'
