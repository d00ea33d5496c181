// What visitors do with a link, in Chromium.
'use strict';

const assert = require('node:assert/strict');
const fs = require('node:fs/promises');
const {after, before, test} = require('node:test');
const {execFileSync} = require('node:child_process');
const {Site, kind} = require('./site');

const PASSWORD = 'open sesame';
const ROOT = '/tmp/album';
let site;

before(async () => {
  site = await Site.start(process.env.BUILD);
  site.shell(`
    mkdir -p ${ROOT}/summer
    printf 'first line\\n' > ${ROOT}/notes.txt
    printf '<script>document.title = "taken over"</script>' > ${ROOT}/page.html
    base64 -d > ${ROOT}/summer/dot.png
    printf x > "${ROOT}/a:b <i>&.txt"
    chown -R alice ${ROOT}
    chmod -R a+rX ${ROOT}`, DOT);
});
after(() => site?.stop());

// A picture of one pixel.
const DOT = 'iVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAYAAAAfFcSJAAAADUlEQVR42mNk' +
  '+M9QDwADhgGAWjR9awAAAABJRU5ErkJggg==';
function passwordLink() { return site.share(ROOT, ['--password-stdin'], `${PASSWORD}\n`); }

async function logIn(page, password = PASSWORD) {
  await page.getByLabel('Password').fill(password);
  await Promise.all([page.waitForEvent('load'), page.keyboard.press('Enter')]);
}

test('a wrong password, the right one, a folder, a preview, a download, a zip, log out, ' +
     'Back', async () => {
  const link = passwordLink();
  const page = await site.visitor();
  assert.equal((await page.goto(link)).status(), 401);
  assert.equal(await kind(page), 'login');
  assert.equal(await page.locator('h1').innerText(), 'Shared files');

  await logIn(page, 'wrong');
  assert.equal(await kind(page), 'login');
  assert.equal(await page.getByRole('alert').count(), 1);
  const field = page.getByLabel('Password');
  assert.equal(await field.inputValue(), '');
  assert.equal(await field.getAttribute('aria-invalid'), 'true');
  assert.equal(await field.evaluate(f => f === document.activeElement), true);

  await logIn(page);
  assert.equal(await kind(page), 'folder');
  assert.equal(await page.locator('h1').innerText(), 'album');
  assert.equal(await page.locator('#files tr[data-kind=folder]').count(), 1);
  assert.equal(await page.locator('#files tr[data-kind=file]').count(), 3);

  await page.locator('#files tr[data-kind=folder] a').first().click();
  assert.equal(await kind(page), 'folder');
  await page.goto(`${link}/summer/dot.png?view`);
  assert.equal(await kind(page), 'file');
  const picture = page.locator('main img');
  assert.equal(await picture.evaluate(image => image.complete && image.naturalWidth), 1);

  const [download] = await Promise.all([
    page.waitForEvent('download'),
    page.goto(`${link}/notes.txt?download`).catch(() => {}),
  ]);
  assert.equal(download.suggestedFilename(), 'notes.txt');
  assert.equal(await fs.readFile(await download.path(), 'utf8'), 'first line\n');

  await page.goto(`${link}/`);
  const [zip] = await Promise.all([
    page.waitForEvent('download'),
    page.locator('a[href*="?zip"]').first().click(),
  ]);
  assert.equal(zip.suggestedFilename(), 'album.zip');
  assert.match(execFileSync('unzip', ['-t', await zip.path()], {encoding: 'utf8'}), /No errors/);

  await page.getByRole('button', {name: 'Log out'}).click();
  assert.equal(await kind(page), 'login');
  await page.goBack();
  assert.equal(await kind(page), 'login');
  assert.equal(await page.getByText('notes.txt').count(), 0);
});

test('selected entries as zip, and a search in subfolders, without scripts', async () => {
  const page = await site.visitor({javaScriptEnabled: false});
  const link = site.share(ROOT);
  await page.goto(`${link}/`);
  await page.getByRole('checkbox', {name: 'Select a:b <i>&.txt'}).check();
  await page.getByRole('checkbox', {name: 'Select summer'}).check();
  const [zip] = await Promise.all([
    page.waitForEvent('download'),
    page.getByRole('button', {name: 'Download selected'}).click(),
  ]);
  const names = execFileSync('unzip', ['-Z1', await zip.path()], {encoding: 'utf8'});
  assert.deepEqual(names.trim().split('\n').sort(),
      ['album/', 'album/a:b <i>&.txt', 'album/summer/', 'album/summer/dot.png']);

  await page.goto(`${link}/`);
  await page.getByLabel('Search this folder').fill('DOT');
  await page.getByLabel('Include subfolders').check();
  await page.keyboard.press('Enter');
  await page.getByRole('link', {name: 'summer/dot.png', exact: true}).waitFor();
  assert.equal(await page.getByLabel('Include subfolders').isChecked(), true);
});

test('a link for users asks for user name and password', async () => {
  const link = site.share(ROOT, ['--user', 'bob']);
  const page = await site.visitor();
  await page.goto(link);
  await page.getByLabel('User name').fill('alice');
  await logIn(page, 'alice-secret');
  assert.equal(await kind(page), 'refused');
  await page.goto(link);
  await page.getByLabel('User name').fill('bob');
  await logIn(page, 'bob-secret');
  assert.equal(await kind(page), 'folder');
});

test('robots that come first use nothing up', async () => {
  const link = site.share(ROOT, ['--uses', '1']);
  for (const method of ['GET', 'HEAD', 'GET']) {
    const answer = await fetch(site.base + link, {method});
    assert.equal(answer.status, 401);
  }
  const page = await site.visitor();
  await page.goto(link);
  assert.equal(await kind(page), 'open');
  await page.getByRole('button').first().click();
  assert.equal(await kind(page), 'folder');
  await page.reload();
  assert.equal(await kind(page), 'folder');

  const late = await site.visitor();
  assert.equal((await late.goto(link)).status(), 410);
  assert.equal(await kind(late), 'used-up');
});

test('files are sent to a drop box, which shows nothing of them', async () => {
  site.shell('mkdir -m 0777 /tmp/inbox');
  const link = site.share('/tmp/inbox',
      ['--drop', '--title', 'For Alice', '--max-files', '4', '--password-stdin'],
      `${PASSWORD}\n`);
  const page = await site.visitor({javaScriptEnabled: false});
  await page.goto(link);
  await logIn(page);
  assert.equal(await kind(page), 'drop');
  assert.equal(await page.locator('h1').innerText(), 'For Alice');
  const send = () => Promise.all([page.waitForEvent('load'),
    page.getByRole('button', {name: 'Send'}).click()]);
  const file = (name, text) => ({name, mimeType: 'text/plain', buffer: Buffer.from(text)});

  await page.getByLabel('Files').setInputFiles(
      [file('a "b"; c.txt', 'first'), file('.ü\u202e.txt', 'second')]);
  await page.getByLabel('Your name').fill('Bob');
  await page.getByLabel('Note').fill('Two lines,\nas promised.');
  await send();
  assert.match(page.url(), /\/\?sent=2$/);
  assert.equal(await page.getByRole('status').innerText(), '2 files were received.');
  assert.equal(await page.getByLabel('Note').inputValue(), '');
  assert.deepEqual(site.shell('cd /tmp/inbox; ls').split('\n').slice(0, -1).sort(),
      ['a "b"; c.txt', 'note.txt', 'ü_.txt'].sort());
  assert.match(site.shell('cat /tmp/inbox/note.txt'),
      /^From: Bob\nSent: .*\nFile: .*\nFile: .*\n\nTwo lines,\nas promised.\n$/);

  await page.goBack();
  assert.equal(await kind(page), 'drop');
  assert.equal(await page.getByRole('status').count(), 0);
  await page.getByLabel('Files').setInputFiles([file('a', '1'), file('b', '2')]);
  await send();
  assert.equal(await kind(page), 'drop');
  assert.match(await page.getByRole('alert').innerText(), /file limit/);
  assert.equal(await page.getByLabel('Files').getAttribute('aria-invalid'), 'true');
  if (process.env.SCREENSHOTS) {
    await page.screenshot({path: `${process.env.SCREENSHOTS}/drop-problem.png`});
  }
  assert.equal(site.shell('ls /tmp/inbox | wc -l').trim(), '3');
});

test('the keyboard alone is enough', async () => {
  const page = await site.visitor();
  await page.goto(passwordLink());
  const field = page.getByLabel('Password');
  while (!await field.evaluate(f => f === document.activeElement)) {
    await page.keyboard.press('Tab');
  }
  await page.keyboard.type(PASSWORD);
  await page.keyboard.press('Enter');
  await page.locator('#files').waitFor();
  for (let tabs = 0; tabs < 30; ++tabs) {
    await page.keyboard.press('Tab');
    const text = await page.evaluate(() => document.activeElement.innerText);
    const outline = await page.evaluate(
        () => getComputedStyle(document.activeElement).outlineStyle);
    assert.notEqual(outline, 'none');
    if (text === 'summer') break;
  }
  await page.keyboard.press('Enter');
  await page.waitForURL(/\/summer\/$/);
  assert.equal(await kind(page), 'folder');
});

test('everything works without scripts', async () => {
  const page = await site.visitor({javaScriptEnabled: false});
  await page.goto(passwordLink());
  await logIn(page);
  assert.equal(await page.getByText('notes.txt').count(), 1);
});

for (const name of ['base', 'namedBase']) {
  test(`the address of a link is shown and can be copied, ${name}`, async () => {
    const page = await site.visitor({baseURL: site[name]});
    const link = site.share(ROOT);
    await page.goto(`${link}/summer/`);
    const button = page.getByRole('button', {name: 'Copy'});
    assert.equal(await button.isVisible(), false);
    await page.getByText('Address and QR code').click();
    const field = page.getByLabel('Address of this link');
    assert.equal(await field.inputValue(), site[name] + link);
    assert.equal(await page.getByRole('img', {name: 'QR code'}).isVisible(), true);
    await button.click();
    await page.getByRole('button', {name: 'Copied'}).waitFor();
    await page.getByLabel('Search this folder').focus();
    await page.keyboard.press('Control+V');
    assert.equal(await page.getByLabel('Search this folder').inputValue(), site[name] + link);
  });
}

test('the address of a link is shown without scripts, and no button that needs one', async () => {
  const page = await site.visitor({javaScriptEnabled: false});
  await page.goto(`${site.share(ROOT)}/`);
  await page.getByText('Address and QR code').click();
  assert.equal(await page.getByLabel('Address of this link').isVisible(), true);
  assert.equal(await page.getByRole('button', {name: 'Copy'}).count(), 0);
});

test('plain http under another name than localhost', async () => {
  const page = await site.visitor({baseURL: site.namedBase});
  await page.goto(passwordLink());
  await logIn(page);
  assert.equal(await kind(page), 'folder');
  const [cookie] = await page.context().cookies();
  assert.equal(cookie.httpOnly, true);
  assert.equal(cookie.secure, false);
  assert.equal(cookie.sameSite, 'Lax');
});

test('a form on another site is refused', async () => {
  const link = passwordLink();
  const page = await site.visitor();
  await page.route('http://elsewhere.test/', route => route.fulfill({
    contentType: 'text/html',
    body: `<form method="post" action="${site.base + link}/">` +
      `<input name="password" value="${PASSWORD}"><button>Send</button></form>`,
  }));
  await page.goto('http://elsewhere.test/');
  await page.getByRole('button').click();
  assert.equal(await kind(page), 'refused');
  assert.equal((await page.context().cookies()).length, 0);
});

test('what somebody uploaded cannot run as a page of the site', async () => {
  const link = site.share(ROOT);
  const page = await site.visitor();
  const [download] = await Promise.all([
    page.waitForEvent('download'),
    page.goto(`${link}/page.html`).catch(() => {}),
  ]);
  assert.equal(download.suggestedFilename(), 'page.html');
  await page.goto(`${link}/`);
  await page.locator('#files a', {hasText: 'a:b'}).first().click();
  assert.notEqual(await page.title(), 'taken over');
});
