# bash completion of qrx-jpeg: source it.
_qrx_jpeg() {
  local current=${COMP_WORDS[COMP_CWORD]} commands=' encode decode info psnr scene packets unpack inspect serve view relay bench version help' words=''
  case ${COMP_WORDS[1]} in
    encode) words=' --help -h --version -V --output -o --jobs --no-clobber --force --quality -q --sampling --mode --progressive --gray --restart --target-size --repeat --format --size --pixels --no-orient --max-pixels --max-memory --max-scans --metadata --json --strict --quiet --verbose -v --library --slot' ;;
    decode) words=' --help -h --version -V --output -o --jobs --no-clobber --force --format --gray --no-orient --max-pixels --max-memory --max-scans --metadata --json --strict --quiet --verbose -v --library --slot' ;;
    info) words=' --help -h --version -V --json --strict' ;;
    psnr) words=' --help -h --version -V --map --size --pixels --no-orient --max-pixels --max-memory --max-scans --json --strict --library --slot' ;;
    scene) words=' --help -h --version -V --frames --first --size --format' ;;
    packets) words=' --help -h --version -V --output -o --jobs --no-clobber --force --join --pcap --quality -q --sampling --window --index --size --pixels --no-orient --max-pixels --max-memory --max-scans --json --strict --quiet --verbose -v --library --slot' ;;
    unpack) words=' --help -h --version -V --output -o --jobs --no-clobber --force --loss --burst --reorder --seed --tint --packets --after --max-pixels --max-memory --max-scans --format --json --strict --quiet --verbose -v --library --slot' ;;
    inspect) words=' --help -h --version -V --json --strict --library --slot' ;;
    serve) words=' --help -h --version -V --listen --to --key --size --pixels --no-orient --max-pixels --max-memory --max-scans --fps --frames --rate --changing --wait --tile --quality -q --sampling --json --library --slot' ;;
    view) words=' --help -h --version -V --connect --listen --key --threads --snapshot --after --repaired --headless --timeout --wait --tint --max-pixels --max-memory --json --library --slot' ;;
    relay) words=' --help -h --version -V --listen --to --loss --burst --reorder --seed --duplicate --corrupt --delay --rate --json' ;;
    bench) words=' --help -h --version -V --quality -q --sampling --threads --runs --size --pixels --no-orient --max-pixels --max-memory --max-scans --json --library --slot' ;;
    version) words=' --help -h --version -V --json --library --slot' ;;
    help) words=' --help -h --version -V --man --completion' ;;
  esac
  if [ "$COMP_CWORD" -eq 1 ] || [ "${COMP_WORDS[1]}" = help ]; then
    mapfile -t COMPREPLY < <(compgen -W "$commands --help --version" -- "$current")
  elif [[ $current == -* ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
  else
    mapfile -t COMPREPLY < <(compgen -f -- "$current")
  fi
}
complete -o filenames -F _qrx_jpeg qrx-jpeg
