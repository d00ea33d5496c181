// A site of shared files for the browser tests: a real web server in a private namespace,
// links made by the vexosharing command, and Chromium.
'use strict';

const {execFileSync, spawn} = require('node:child_process');
const {once} = require('node:events');
const path = require('node:path');
const readline = require('node:readline');
const zlib = require('node:zlib');
const {chromium} = require('playwright-core');

const PROJECT = path.resolve(__dirname, '../..');
const NAME = 'files.test';  // no secure context, unlike localhost

class Site {
  static async start(build, kind = 'lighttpd-fastcgi') {
    const site = new Site();
    site.server = spawn(path.join(PROJECT, 'scripts/serve'), [kind, '--build', build],
        {stdio: ['ignore', 'pipe', 'inherit']});
    for await (const line of readline.createInterface({input: site.server.stdout})) {
      const [name, value] = line.split('=');
      if (name === 'BASE') site.port = new URL(value).port;
      if (name === 'PID') {
        site.pid = value;
        break;
      }
    }
    if (!site.pid) throw new Error('scripts/serve has ended');
    site.base = `http://127.0.0.1:${site.port}`;
    site.namedBase = `http://${NAME}:${site.port}`;
    site.browser = await chromium.launch({
      executablePath: '/usr/bin/chromium',
      args: [
        '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
        '--disable-background-networking', '--disable-component-update', '--disable-sync',
        `--host-resolver-rules=MAP ${NAME} 127.0.0.1`,
      ],
    });
    return site;
  }

  async stop() {
    await this.browser?.close();
    if (this.server.exitCode !== null) return;
    this.server.kill('SIGINT');
    await once(this.server, 'exit');
  }

  // Runs a command inside the namespace.
  run(command, input = '') {
    return execFileSync('nsenter', ['--mount', '--target', this.pid, ...command],
        {input, encoding: 'utf8'});
  }

  // Runs a shell script inside the namespace.
  shell(script, input = '') { return this.run(['bash', '-euc', script], input); }

  // Writes a file that every visitor may see.
  write(file, content) {
    this.run(['bash', '-euc', 'mkdir -p "${1%/*}"; cat >"$1"; chown alice "$1"', 'bash', file],
        content);
  }

  // Creates a link to a path; the address of the link, without the host.
  share(sharedPath, options = [], input = '') {
    const answer = this.run(
        ['/usr/vexo/bin/vexosharing', 'share', sharedPath, '--json', '--owner', 'alice',
         ...options], input);
    return `/sharing/${JSON.parse(answer).link.hash}`;
  }

  // A new visitor.  `requests` collects the URLs that the browser asks for.
  async visitor(options = {}) {
    const context = await this.browser.newContext({baseURL: this.base, ...options});
    context.setDefaultTimeout(60000);
    const page = await context.newPage();
    page.requests = [];
    page.on('request', request => page.requests.push(request.url()));
    page.on('pageerror', error => page.requests.push(`script error: ${error}`));
    return page;
  }
}

// A PNG file with a gradient towards this colour.
function picture(width, height, colour) {
  const rows = Buffer.alloc((1 + 3 * width) * height);
  for (let y = 0; y < height; ++y) {
    for (let x = 0; x < 3 * width; ++x) {
      rows[y * (1 + 3 * width) + 1 + x] = colour[x % 3] * (x / 3 + y) / (width + height);
    }
  }
  const header = Buffer.alloc(13);
  header.writeUInt32BE(width, 0);
  header.writeUInt32BE(height, 4);
  header.set([8, 2], 8);
  const chunk = (type, data) => {
    const content = Buffer.concat([Buffer.from(type), data]);
    const frame = Buffer.alloc(8);
    frame.writeUInt32BE(data.length, 0);
    frame.writeUInt32BE(crc32(content), 4);
    return Buffer.concat([frame.subarray(0, 4), content, frame.subarray(4)]);
  };
  return Buffer.concat([
    Buffer.from('\x89PNG\r\n\x1a\n', 'latin1'), chunk('IHDR', header),
    chunk('IDAT', zlib.deflateSync(rows)), chunk('IEND', Buffer.alloc(0)),
  ]);
}

function crc32(data) {
  let rest = ~0;
  for (const byte of data) {
    rest ^= byte;
    for (let bit = 0; bit < 8; ++bit) rest = (rest >>> 1) ^ (rest & 1 ? 0xedb88320 : 0);
  }
  return ~rest >>> 0;
}

// data-page of the page that is shown.
function kind(page) { return page.locator('body').getAttribute('data-page'); }

module.exports = {Site, kind, picture};
