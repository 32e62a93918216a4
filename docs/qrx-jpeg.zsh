#compdef qrx-jpeg
# zsh completion of qrx-jpeg: put it as _qrx-jpeg into a folder of $fpath.
local -a commands options
commands=(
    'encode:Compress pictures to JPEGs'
    'decode:Decode JPEGs to pictures'
    'info:Print the segments, size, sampling, tables and mode of JPEGs'
    'psnr:Print the peak signal-to-noise ratio of two pictures in dB'
    'scene:Render a synthetic frame sequence and print the files names'
    'packets:Compress a picture to packets, each decodable alone'
    'unpack:Decode files of packets to pictures, with loss if asked for'
    'inspect:Print one line for each packet of a file of packets'
    'serve:Serve a live window as packets over UDP'
    'view:Show a served window, on the screen or in files'
    'relay:Stand between viewer and server as a bad network'
    'bench:Measure what pictures cost on each road'
    'version:Print the versions of tool and library, and what the library runs'
    'help:Print the help of a command'
)
case $words[2] in
    encode)
      options=(
        '--help:Print this help message and exit'
        '-h:Print this help message and exit'
        '--version:Print the version and exit'
        '-V:Print the version and exit'
        '--output:The output, a file, - for standard output, or a folder, which several inputs need'
        '-o:The output, a file, - for standard output, or a folder, which several inputs need'
        '--jobs:Files at work at a time (default, the processors)'
        '--no-clobber:Keep outputs that are there, and fail'
        '--force:Write even under a name that promises another kind of file'
        '--quality:JPEG quality, 1 to 100'
        '-q:JPEG quality, 1 to 100'
        '--sampling:Colour sampling, through the setting that the library reads (ZMT_SUBSAMPLING)'
        '--mode:Kind of JPEG'
        '--progressive:Short for --mode progressive'
        '--gray:Without colour'
        '--restart:MCUs between restart markers, for transports that lose bytes'
        '--target-size:The best quality, up to --quality or 97, that gives at most so many bytes'
        '--repeat:Compress the frame this often, for a better time'
        '--format:Accept only this format, for a stream whose kind must be certain'
        '--size:The input is raw pixels, this many, without a header'
        '--pixels:Bytes of a raw pixel (default, gray, rgb or rgba by the files length)'
        '--no-orient:Leave the picture as it is stored, whatever its Exif data says of its orientation'
        '--max-pixels:Pixels of a picture, at most'
        '--max-memory:Bytes that decoding a picture may take'
        '--max-scans:Scans of a JPEG, at most'
        '--metadata:What of the inputs Exif data and colour profile goes to the output'
        '--json:Print the result, or the error, as one JSON object'
        '--strict:Exit with 1 instead of 2 for damage and partial results'
        '--quiet:Print nothing but errors'
        '--verbose:Tell what is done, on standard error'
        '-v:Tell what is done, on standard error'
        '--library:The codec library (default, libqrx_jpeg.so beside this program, or where there is none the installed one, qrx-jpeg/libqrx_jpeg.so in the folder for libraries)'
        '--slot:Force the processor forms of a slot, 0, 1 SSE2'
      )
      ;;
    decode)
      options=(
        '--help:Print this help message and exit'
        '-h:Print this help message and exit'
        '--version:Print the version and exit'
        '-V:Print the version and exit'
        '--output:The output, a file, - for standard output, or a folder, which several inputs need'
        '-o:The output, a file, - for standard output, or a folder, which several inputs need'
        '--jobs:Files at work at a time (default, the processors)'
        '--no-clobber:Keep outputs that are there, and fail'
        '--force:Write even under a name that promises another kind of file'
        '--format:Format of the output, where its name does not tell'
        '--gray:Without colour'
        '--no-orient:Leave the picture as it is stored, whatever its Exif data says of its orientation'
        '--max-pixels:Pixels of a picture, at most'
        '--max-memory:Bytes that decoding a picture may take'
        '--max-scans:Scans of a JPEG, at most'
        '--metadata:What of the inputs Exif data and colour profile goes to the output'
        '--json:Print the result, or the error, as one JSON object'
        '--strict:Exit with 1 instead of 2 for damage and partial results'
        '--quiet:Print nothing but errors'
        '--verbose:Tell what is done, on standard error'
        '-v:Tell what is done, on standard error'
        '--library:The codec library (default, libqrx_jpeg.so beside this program, or where there is none the installed one, qrx-jpeg/libqrx_jpeg.so in the folder for libraries)'
        '--slot:Force the processor forms of a slot, 0, 1 SSE2'
      )
      ;;
    info)
      options=(
        '--help:Print this help message and exit'
        '-h:Print this help message and exit'
        '--version:Print the version and exit'
        '-V:Print the version and exit'
        '--json:Print the result, or the error, as one JSON object'
        '--strict:Exit with 1 instead of 2 for damage and partial results'
      )
      ;;
    psnr)
      options=(
        '--help:Print this help message and exit'
        '-h:Print this help message and exit'
        '--version:Print the version and exit'
        '-V:Print the version and exit'
        '--map:Write a picture of where they differ, the reference in dark gray, the differences blue, red and yellow'
        '--size:The input is raw pixels, this many, without a header'
        '--pixels:Bytes of a raw pixel (default, gray, rgb or rgba by the files length)'
        '--no-orient:Leave the picture as it is stored, whatever its Exif data says of its orientation'
        '--max-pixels:Pixels of a picture, at most'
        '--max-memory:Bytes that decoding a picture may take'
        '--max-scans:Scans of a JPEG, at most'
        '--json:Print the result, or the error, as one JSON object'
        '--strict:Exit with 1 instead of 2 for damage and partial results'
        '--library:The codec library (default, libqrx_jpeg.so beside this program, or where there is none the installed one, qrx-jpeg/libqrx_jpeg.so in the folder for libraries)'
        '--slot:Force the processor forms of a slot, 0, 1 SSE2'
      )
      ;;
    scene)
      options=(
        '--help:Print this help message and exit'
        '-h:Print this help message and exit'
        '--version:Print the version and exit'
        '-V:Print the version and exit'
        '--frames:Number of frames'
        '--first:Number of the first frame'
        '--size:Width and height in pixels'
        '--format:Format of the files (default png)'
      )
      ;;
    packets)
      options=(
        '--help:Print this help message and exit'
        '-h:Print this help message and exit'
        '--version:Print the version and exit'
        '-V:Print the version and exit'
        '--output:The output, a file, - for standard output, or a folder, which several inputs need'
        '-o:The output, a file, - for standard output, or a folder, which several inputs need'
        '--jobs:Files at work at a time (default, the processors)'
        '--no-clobber:Keep outputs that are there, and fail'
        '--force:Write even under a name that promises another kind of file'
        '--join:All pictures, of one size, to this file, each a frame with the next index'
        '--pcap:Captures of datagrams instead, for Wireshark and the like'
        '--quality:JPEG quality, 1 to 100'
        '-q:JPEG quality, 1 to 100'
        '--sampling:Colour sampling, through the setting that the library reads (ZMT_SUBSAMPLING)'
        '--window:Window number in every packet'
        '--index:Index in every packet'
        '--size:The input is raw pixels, this many, without a header'
        '--pixels:Bytes of a raw pixel (default, gray, rgb or rgba by the files length)'
        '--no-orient:Leave the picture as it is stored, whatever its Exif data says of its orientation'
        '--max-pixels:Pixels of a picture, at most'
        '--max-memory:Bytes that decoding a picture may take'
        '--max-scans:Scans of a JPEG, at most'
        '--json:Print the result, or the error, as one JSON object'
        '--strict:Exit with 1 instead of 2 for damage and partial results'
        '--quiet:Print nothing but errors'
        '--verbose:Tell what is done, on standard error'
        '-v:Tell what is done, on standard error'
        '--library:The codec library (default, libqrx_jpeg.so beside this program, or where there is none the installed one, qrx-jpeg/libqrx_jpeg.so in the folder for libraries)'
        '--slot:Force the processor forms of a slot, 0, 1 SSE2'
      )
      ;;
    unpack)
      options=(
        '--help:Print this help message and exit'
        '-h:Print this help message and exit'
        '--version:Print the version and exit'
        '-V:Print the version and exit'
        '--output:The output, a file, - for standard output, or a folder, which several inputs need'
        '-o:The output, a file, - for standard output, or a folder, which several inputs need'
        '--jobs:Files at work at a time (default, the processors)'
        '--no-clobber:Keep outputs that are there, and fail'
        '--force:Write even under a name that promises another kind of file'
        '--loss:Share of datagrams that are lost, as in 5%'
        '--burst:Mean number of datagrams lost in a row'
        '--reorder:Share that up to eight others overtake'
        '--seed:The same seed treats datagrams the same way'
        '--tint:Colour what is out of date, the stronger the longer it has been'
        '--packets:Lay a colour over what each packet of the last frame brought'
        '--after:Stop after so many frames'
        '--max-pixels:Pixels of a picture, at most'
        '--max-memory:Bytes that decoding a picture may take'
        '--max-scans:Scans of a JPEG, at most'
        '--format:Format of an output that has no telling name'
        '--json:Print the result, or the error, as one JSON object'
        '--strict:Exit with 1 instead of 2 for damage and partial results'
        '--quiet:Print nothing but errors'
        '--verbose:Tell what is done, on standard error'
        '-v:Tell what is done, on standard error'
        '--library:The codec library (default, libqrx_jpeg.so beside this program, or where there is none the installed one, qrx-jpeg/libqrx_jpeg.so in the folder for libraries)'
        '--slot:Force the processor forms of a slot, 0, 1 SSE2'
      )
      ;;
    inspect)
      options=(
        '--help:Print this help message and exit'
        '-h:Print this help message and exit'
        '--version:Print the version and exit'
        '-V:Print the version and exit'
        '--json:Print the result, or the error, as one JSON object'
        '--strict:Exit with 1 instead of 2 for damage and partial results'
        '--library:The codec library (default, libqrx_jpeg.so beside this program, or where there is none the installed one, qrx-jpeg/libqrx_jpeg.so in the folder for libraries)'
        '--slot:Force the processor forms of a slot, 0, 1 SSE2'
      )
      ;;
    serve)
      options=(
        '--help:Print this help message and exit'
        '-h:Print this help message and exit'
        '--version:Print the version and exit'
        '-V:Print the version and exit'
        '--listen:Address and port'
        '--to:Ask nobody and listen to nobody, send to this address, all of it again every two seconds'
        '--key:A secret file that both ends have, it tells who is who, and hides nothing'
        '--size:Width and height in pixels'
        '--pixels:Bytes of a raw pixel (default, gray, rgb or rgba by the files length)'
        '--no-orient:Leave the picture as it is stored, whatever its Exif data says of its orientation'
        '--max-pixels:Pixels of a picture, at most'
        '--max-memory:Bytes that decoding a picture may take'
        '--max-scans:Scans of a JPEG, at most'
        '--fps:Frames per second'
        '--frames:Number of frames'
        '--rate:Mbit/s of datagrams that are sent, at most'
        '--changing:For measuring, of the scene, this share of the pixels changes with each frame, in a box that wanders'
        '--wait:End after so long without a viewer'
        '--tile:Side of the tiles that are compared and sent, a multiple of 16'
        '--quality:JPEG quality, 1 to 100'
        '-q:JPEG quality, 1 to 100'
        '--sampling:Colour sampling, through the setting that the library reads (ZMT_SUBSAMPLING)'
        '--json:Print the result, or the error, as one JSON object'
        '--library:The codec library (default, libqrx_jpeg.so beside this program, or where there is none the installed one, qrx-jpeg/libqrx_jpeg.so in the folder for libraries)'
        '--slot:Force the processor forms of a slot, 0, 1 SSE2'
      )
      ;;
    view)
      options=(
        '--help:Print this help message and exit'
        '-h:Print this help message and exit'
        '--version:Print the version and exit'
        '-V:Print the version and exit'
        '--connect:The server, or a relay before it'
        '--listen:Nobody is asked, show what is sent to this address, as qrxpay of GStreamer does'
        '--key:A secret file that both ends have, it tells who is who, and hides nothing'
        '--threads:Threads that decode'
        '--snapshot:Without a window, save the picture as it stands after --after frames, holes and all, and end'
        '--after:Frames before --snapshot, from the first that the viewer is sent on, those left out too'
        '--repaired:Without a window, wait for the servers last frame to be whole, save it, and end'
        '--headless:No window, receive until --timeout'
        '--timeout:Seconds after which a headless viewer ends'
        '--wait:Seconds to wait for the servers first answer'
        '--tint:Colour what is out of date, the stronger the longer it has been'
        '--max-pixels:Pixels of a picture, at most'
        '--max-memory:Bytes that decoding a picture may take'
        '--json:Print the result, or the error, as one JSON object'
        '--library:The codec library (default, libqrx_jpeg.so beside this program, or where there is none the installed one, qrx-jpeg/libqrx_jpeg.so in the folder for libraries)'
        '--slot:Force the processor forms of a slot, 0, 1 SSE2'
      )
      ;;
    relay)
      options=(
        '--help:Print this help message and exit'
        '-h:Print this help message and exit'
        '--version:Print the version and exit'
        '-V:Print the version and exit'
        '--listen:Where the viewer connects to'
        '--to:The server'
        '--loss:Share of datagrams that are lost, as in 5%'
        '--burst:Mean number of datagrams lost in a row'
        '--reorder:Share that up to eight others overtake'
        '--seed:The same seed treats datagrams the same way'
        '--duplicate:Share that arrives twice'
        '--corrupt:Share that arrives with wrong bytes'
        '--delay:Time that every datagram takes, as in 20ms'
        '--rate:Mbit/s that each direction takes, with a queue of 200 ms'
        '--json:Print the result, or the error, as one JSON object'
      )
      ;;
    bench)
      options=(
        '--help:Print this help message and exit'
        '-h:Print this help message and exit'
        '--version:Print the version and exit'
        '-V:Print the version and exit'
        '--quality:JPEG quality, 1 to 100'
        '-q:JPEG quality, 1 to 100'
        '--sampling:Colour sampling, through the setting that the library reads (ZMT_SUBSAMPLING)'
        '--threads:Threads that work at the same time'
        '--runs:Runs that count'
        '--size:The input is raw pixels, this many, without a header'
        '--pixels:Bytes of a raw pixel (default, gray, rgb or rgba by the files length)'
        '--no-orient:Leave the picture as it is stored, whatever its Exif data says of its orientation'
        '--max-pixels:Pixels of a picture, at most'
        '--max-memory:Bytes that decoding a picture may take'
        '--max-scans:Scans of a JPEG, at most'
        '--json:Print the result, or the error, as one JSON object'
        '--library:The codec library (default, libqrx_jpeg.so beside this program, or where there is none the installed one, qrx-jpeg/libqrx_jpeg.so in the folder for libraries)'
        '--slot:Force the processor forms of a slot, 0, 1 SSE2'
      )
      ;;
    version)
      options=(
        '--help:Print this help message and exit'
        '-h:Print this help message and exit'
        '--version:Print the version and exit'
        '-V:Print the version and exit'
        '--json:Print the result, or the error, as one JSON object'
        '--library:The codec library (default, libqrx_jpeg.so beside this program, or where there is none the installed one, qrx-jpeg/libqrx_jpeg.so in the folder for libraries)'
        '--slot:Force the processor forms of a slot, 0, 1 SSE2'
      )
      ;;
    help)
      options=(
        '--help:Print this help message and exit'
        '-h:Print this help message and exit'
        '--version:Print the version and exit'
        '-V:Print the version and exit'
        '--man:Print all of it as a page for man'
        '--completion:Print a script that teaches a shell the commands and options'
      )
      ;;
esac
if (( CURRENT == 2 )) || [[ $words[2] == help && $words[CURRENT] != -* ]]; then
  _describe command commands
elif [[ $words[CURRENT] == -* ]]; then
  _describe -o option options
else
  _files
fi
