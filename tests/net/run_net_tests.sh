#!/usr/bin/env bash
# Runs a Windows test program that needs servers: run_net_tests.sh <program.exe> [its arguments...]
#
# Starts nginx (ordinary traffic, http and https) and odd_server.py (everything else) on free ports of
# 127.0.0.1, runs the program under Wine in the prefix WINEPREFIX, and ends both servers. The program finds
# them through KORVEL_TEST_* variables. The https certificate comes from a throw-away authority that is trusted
# in this prefix only; the machine's own trust store is not touched.
set -euo pipefail

here=$(cd "$(dirname "$0")" && pwd)
program=$(realpath "$1")
shift
: "${WINEPREFIX:?set WINEPREFIX to a prefix of your own}"
export DISPLAY= WINEDEBUG=-all LC_ALL=C.UTF-8
unset http_proxy https_proxy all_proxy HTTP_PROXY HTTPS_PROXY ALL_PROXY

work=$(mktemp -d)
stage_name=korvel-net-tests-$$
stage=$WINEPREFIX/drive_c/$stage_name
nginx_pid= odd_pid= wine_pid= root_key=
finish() {
  for pid in $wine_pid $nginx_pid $odd_pid; do kill "$pid" 2>/dev/null && wait "$pid" 2>/dev/null || true; done
  [ -z "$root_key" ] || (cd /; wine reg delete "$root_key" /f) > /dev/null 2>&1 || true
  rm -rf "$work" "$stage"
}
trap finish EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

# --- certificates ---

make_certificates() (
  cd "$work"
  openssl req -x509 -newkey rsa:2048 -nodes -keyout ca.key -out ca.pem -days 2 -subj "/CN=Korvel Test Authority $$" \
    -addext basicConstraints=critical,CA:TRUE -addext keyUsage=critical,keyCertSign,cRLSign
  printf 'subjectAltName=DNS:localhost\nextendedKeyUsage=serverAuth\nbasicConstraints=CA:FALSE\n' > extensions
  openssl req -newkey rsa:2048 -nodes -keyout good.key -out good.csr -subj /CN=localhost
  openssl x509 -req -in good.csr -CA ca.pem -CAkey ca.key -CAcreateserial -days 2 -extfile extensions -out good.pem
  openssl req -x509 -newkey rsa:2048 -nodes -keyout stranger.key -out stranger.pem -days 2 -subj /CN=localhost \
    -addext subjectAltName=DNS:localhost
  openssl x509 -in ca.pem -outform DER -out ca.der
) > "$work/openssl.log" 2>&1

# The prefix's own root store: one registry value with the certificate behind a 12-byte property header.
trust_authority() {
  python3 - "$work/ca.der" > "$stage/ca.reg" <<'PY'
import hashlib, struct, sys
der = open(sys.argv[1], "rb").read()
blob = struct.pack("<III", 32, 1, len(der)) + der
print("REGEDIT4\n")
print("[HKEY_CURRENT_USER\\Software\\Microsoft\\SystemCertificates\\Root\\Certificates\\%s]"
      % hashlib.sha1(der).hexdigest().upper())
print('"Blob"=hex:' + ",".join("%02x" % byte for byte in blob))
PY
  root_key=$(sed -n 's/^\[\(.*\)\]$/\1/p' "$stage/ca.reg")
  (cd /; wine reg import "C:\\$stage_name\\ca.reg") > "$work/reg.log" 2>&1
}

# --- servers ---

free_port() { python3 -c 'import socket; s = socket.create_server(("127.0.0.1", 0)); print(s.getsockname()[1])'; }

write_nginx_config() {
  cat > "$work/nginx.conf" <<CONF
daemon off;
master_process off;
pid $work/nginx.pid;
events { worker_connections 128; }
http {
  access_log $work/access.log;
  default_type application/octet-stream;
  client_body_temp_path $work/t1; proxy_temp_path $work/t2; fastcgi_temp_path $work/t3;
  uwsgi_temp_path $work/t4; scgi_temp_path $work/t5;
  root $stage/www;
  absolute_redirect off;
  server {
    listen 127.0.0.1:$http_port;
    listen 127.0.0.1:$https_port ssl;
    ssl_certificate $work/good.pem;
    ssl_certificate_key $work/good.key;
    location = /request { return 200 "\$request_method \$request_uri \$http_user_agent"; }
    location = /empty { return 204; }
    location = /moved { return 301 /plain.txt; }
    location = /moved-absolute { return 302 http://127.0.0.1:$http_port/plain.txt; }
    location = /moved-twice { return 307 /moved; }
    location = /moved-to-https { return 301 https://localhost:$https_port/plain.txt; }
    location = /moved-to-http { return 301 http://127.0.0.1:$http_port/plain.txt; }
    location = /moved-nowhere { return 301 /nothing-here; }
    location = /loop { return 301 /loop; }
  }
  server {
    listen 127.0.0.1:$stranger_port ssl;
    ssl_certificate $work/stranger.pem;
    ssl_certificate_key $work/stranger.key;
  }
}
CONF
}

start_nginx() {
  for _ in 1 2 3; do  # another process may take a free port before nginx does
    http_port=$(free_port) https_port=$(free_port) stranger_port=$(free_port)
    write_nginx_config
    nginx -p "$work" -c "$work/nginx.conf" -e "$work/nginx.log" &
    nginx_pid=$!
    for _ in $(seq 100); do
      if (exec 3<> "/dev/tcp/127.0.0.1/$stranger_port") 2>/dev/null; then return 0; fi
      kill -0 "$nginx_pid" 2>/dev/null || break
      sleep 0.05
    done
    kill "$nginx_pid" 2>/dev/null || true
    nginx_pid=
  done
  cat "$work/nginx.log" >&2
  return 1
}

start_odd_server() {
  python3 "$here/odd_server.py" > "$work/odd.port" 2> "$work/odd.log" &
  odd_pid=$!
  for _ in $(seq 100); do
    [ -s "$work/odd.port" ] && odd_port=$(cat "$work/odd.port") && return 0
    sleep 0.05
  done
  cat "$work/odd.log" >&2
  return 1
}

mkdir -p "$stage/www"
make_certificates
trust_authority
printf 'plain text\n' > "$stage/www/plain.txt"
truncate -s 134217728 "$stage/www/largest.bin"
truncate -s 134217729 "$stage/www/too-large.bin"
# A folder in which a write to a temporary file fails at the first byte, as on a full disk.
mkdir "$stage/full"
cc -shared -fPIC -o "$work/full_disk.so" "$here/full_disk.c" -ldl
cp "$program" "$stage/"
# Helper programs of the tests lie beside them.
cp "$(dirname "$program")"/*_victim.exe "$stage/" 2>/dev/null || true
start_nginx
start_odd_server

export KORVEL_TEST_HTTP_PORT=$http_port KORVEL_TEST_HTTPS_PORT=$https_port
export KORVEL_TEST_STRANGER_PORT=$stranger_port KORVEL_TEST_ODD_PORT=$odd_port
export KORVEL_TEST_WWW="C:\\$stage_name\\www" KORVEL_TEST_FULL="C:\\$stage_name\\full"
cd "$stage"
# In the background, so that the shell handles a signal at once and not after the program has ended.
LD_PRELOAD=$work/full_disk.so${LD_PRELOAD:+:$LD_PRELOAD} KORVEL_FULL_DISK=$(realpath "$stage/full") \
  wine "C:\\$stage_name\\$(basename "$program")" "$@" < /dev/null &
wine_pid=$!
status=0
wait "$wine_pid" || status=$?
wine_pid=
exit "$status"
