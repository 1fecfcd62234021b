# shellcheck shell=bash
# buildPage FOLDER: the gateway's page, in FOLDER/web/dist/page. Needs scripts/setup web.
buildPage() {
  local web=$1/web
  [[ $web/node_modules/.package-lock.json -nt $web/package-lock.json ]] ||
    npm --prefix "$web" ci --no-audit --no-fund --loglevel=error >&2
  npm --prefix "$web" run --silent build:page
}
