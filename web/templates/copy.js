// navigator.clipboard is missing where the site is not served by https.
const address = document.getElementById('address');
const button = document.getElementById('copy');
button.hidden = false;
button.onclick = () => {
  address.select();
  if (document.execCommand('copy')) button.textContent = button.dataset.done;
};
