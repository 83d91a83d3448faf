# The answers of the matcher to random expressions and names, beside those of the library that it replaced: PCRE, as far as
# this system still has it.
EXPRESSIONS=${EXPRESSIONS:-300000}
FORMER=libpcre3-dev
if ! dpkg-query -W -f='${Status}' $FORMER 2>/dev/null | grep -q 'ok installed' &&
    ! quietly apt-former as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends $FORMER; then
    say "not compared: this system does not have $FORMER"
    return 0
fi
configure_native native
build_tree native expression_difference
say "$("$BUILD/native/bin/expression_difference" "$EXPRESSIONS" "${SEED:-1}")"
